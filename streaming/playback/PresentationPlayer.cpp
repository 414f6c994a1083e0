#include "streaming/playback/PresentationPlayer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "streaming/playback/TrackLookup.h"
#include "streaming/timeline/TimeRanges.h"

namespace streaming {
namespace {

/// Minimum change of the position, in seconds, that is passed to the feed.
constexpr double kPumpStep = 1;
constexpr double kEndTolerance = 0.25;

/// The TrackReader of the player. Its seeks also set the playback position.
class PlaybackReader final : public TrackReader {
 public:
  PlaybackReader(std::shared_ptr<TransferSource> source, std::shared_ptr<PlaybackState> state,
                 MediaKind kind, bool isLeading)
      : _source(std::move(source)), _state(std::move(state)), _kind(kind), _isLeading(isLeading) {}

  std::optional<TrackPiece> next(const ReadGate& gate) override {
    return _state->buffer(_kind).next(gate);
  }
  void seek(double seconds) override {
    _state->position = seconds;
    _state->startPosition = seconds;
    _state->buffer(_kind).seek(seconds);
    if (_isLeading) _state->buffer(MediaKind::Text).seek(seconds);
  }
  void setContainedStreams(const Representation& representation,
                           ContainedStreams content) override {
    if (!representation.codecs.empty()) return;
    {
      const std::lock_guard lock(_state->mutex);
      const auto [known, isNew] = _state->contents.try_emplace(representation.id, content);
      if (!isNew && std::exchange(known->second, content) == content) return;
    }
    _source->post([state = _state] { state->changeHandler.call(); });
  }

 private:
  const std::shared_ptr<TransferSource> _source;
  const std::shared_ptr<PlaybackState> _state;
  const MediaKind _kind;
  const bool _isLeading;
};

const std::string& selectedOf(const TrackSelection& selection, MediaKind kind) {
  switch (kind) {
    case MediaKind::Video:
      return selection.video;
    case MediaKind::Audio:
      return selection.audio;
    case MediaKind::Text:
      break;
  }
  return selection.text;
}

/// The audio track has its own segments in at least one period, or is unknown.
bool hasAudioSegments(const TimelineSnapshot& known, const std::string& id) {
  if (id.empty()) return false;
  if (!known.presentation) return true;
  bool isFound = false;
  for (const Period& period : known.presentation->periods) {
    const Track* track = trackNamed(period, MediaKind::Audio, id);
    if (track && !track->representations.empty()) return true;
    isFound = isFound || track;
  }
  return !isFound;
}

}  // namespace

/// Pumps the feed on the transfer thread. Calls before the task has run are merged.
class PresentationPlayer::Waker : public std::enable_shared_from_this<Waker> {
 public:
  explicit Waker(std::shared_ptr<TransferSource> source) : _source(std::move(source)) {}
  void setFeed(const std::shared_ptr<PresentationFeed>& feed) { _feed = feed; }
  void wake() {
    if (_isPosted.exchange(true)) return;
    _source->post([self = shared_from_this()] {
      self->_isPosted = false;
      if (const auto feed = self->_feed.lock()) feed->pump();
    });
  }

 private:
  const std::shared_ptr<TransferSource> _source;
  std::weak_ptr<PresentationFeed> _feed;
  std::atomic<bool> _isPosted = false;
};

std::shared_ptr<PresentationPlayer> PresentationPlayer::make(Setup setup) {
  return std::shared_ptr<PresentationPlayer>(new PresentationPlayer(std::move(setup)));
}

PresentationPlayer::PresentationPlayer(Setup setup)
    : _source(setup.source),
      _canDecode(setup.canDecode),
      _state(std::make_shared<PlaybackState>()),
      _waker(std::make_shared<Waker>(setup.source)) {
  const std::weak_ptr<Waker> waker = _waker;
  for (auto& buffer : _state->buffers) {
    buffer = std::make_shared<TrackBuffer>([waker] {
      if (const auto living = waker.lock()) living->wake();
    });
  }
  _feed = std::make_shared<PresentationFeed>(PresentationFeed::Setup{
      setup.source, _state, std::move(setup.record), std::move(setup.throughput),
      std::move(setup.canDecode), setup.inheritsQuery, std::move(setup.entryStarted)});
  _waker->setFeed(_feed);
}

// Transfers must be destroyed on the transfer thread.
PresentationPlayer::~PresentationPlayer() {
  _source->post([feed = std::move(_feed)] { feed->close(); });
}

void PresentationPlayer::begin(ManifestType type, FetchResult result,
                               PresentationFeed::Begun begun) {
  _feed->begin(type, std::move(result), std::move(begun));
}

void PresentationPlayer::end() { _feed->close(); }

void PresentationPlayer::_post(std::function<void(PresentationFeed&)> task) {
  _source->post([feed = _feed, task = std::move(task)] { task(*feed); });
}

std::shared_ptr<const Presentation> PresentationPlayer::presentation() const {
  return _state->known().presentation;
}

std::vector<Track> PresentationPlayer::tracksAt(double seconds) const {
  const auto known = presentation();
  const Period* period = known ? periodAt(*known, seconds) : nullptr;
  if (!period) return {};
  auto tracks = decodableTracks(*period, _canDecode);
  const std::lock_guard lock(_state->mutex);
  eraseAbsentTracks(tracks, _state->contents);
  return tracks;
}

void PresentationPlayer::select(const TrackSelection& selection) {
  {
    const std::lock_guard lock(_state->mutex);
    const TrackSelection before = std::exchange(_state->selection, selection);
    _state->isSelected = true;
    for (const MediaKind kind : kMediaKinds) {
      const std::string& old = selectedOf(before, kind);
      if (!old.empty() && old != selectedOf(selection, kind))
        _state->buffer(kind).setAnswersSeeks(false);
    }
  }
  _post([selection](PresentationFeed& feed) { feed.select(selection); });
}

TrackSelection PresentationPlayer::selection() const {
  const std::lock_guard lock(_state->mutex);
  return _state->selection;
}

void PresentationPlayer::prepare(
    const Start& start, const PlaybackLimits& limits,
    std::function<void(double seconds, std::optional<platform::Error> error)> ready) {
  _post([start, limits, ready = std::move(ready)](PresentationFeed& feed) {
    feed.setLimits(limits);
    feed.prepare(start, ready);
  });
}

std::shared_ptr<TrackReader> PresentationPlayer::reader(MediaKind kind) {
  if (kind == MediaKind::Text) return nullptr;
  const std::lock_guard lock(_state->mutex);
  const std::string& selected = selectedOf(_state->selection, kind);
  if (selected.empty()) return nullptr;
  if (kind == MediaKind::Audio && !hasAudioSegments(_state->knowledge, selected)) return nullptr;
  const bool isLeading = kind == MediaKind::Video || _state->selection.video.empty();
  return std::make_shared<PlaybackReader>(_source, _state, kind, isLeading);
}

void PresentationPlayer::setLimits(const PlaybackLimits& limits) {
  _post([limits](PresentationFeed& feed) { feed.setLimits(limits); });
}

void PresentationPlayer::setPosition(double seconds) {
  _state->position = seconds;
  if (std::abs(seconds - _pumpedPosition) < kPumpStep) return;
  _pumpedPosition = seconds;
  _waker->wake();
}

PresentationPlayback::Timeline PresentationPlayer::timeline(double position) const {
  const auto known = _state->known();
  Timeline timeline;
  if (!known.presentation) return timeline;
  const platform::Date now{_source->civilTime().secondsSince1970 + _state->clockOffset};
  const auto window = known.window(now);
  timeline.isLive = window.isLive;
  if (window.duration) timeline.duration = *window.duration;
  if (window.range) timeline.seekable = {*window.range};
  timeline.date = known.dateAt(position);

  const TrackSelection selected = selection();
  bool isFirst = true;
  bool isAtEnd = true;
  for (const MediaKind kind : {MediaKind::Video, MediaKind::Audio}) {
    const bool hasOwn = kind == MediaKind::Video ? !selected.video.empty()
                                                 : hasAudioSegments(known, selected.audio);
    if (!hasOwn) continue;
    auto loaded = _state->buffer(kind).loaded();
    timeline.loaded = isFirst ? std::move(loaded) : intersectionOf(timeline.loaded, loaded);
    isFirst = false;
    const std::lock_guard lock(_state->mutex);
    isAtEnd = isAtEnd && _state->isAtEnd.at(static_cast<std::size_t>(kind));
  }
  timeline.isLoadedToEnd = !isFirst && isAtEnd;
  if (!timeline.isLoadedToEnd && window.duration) {
    for (const auto& range : timeline.loaded) {
      const double end = range.start + range.duration;
      if (range.start <= position && end >= *window.duration - kEndTolerance)
        timeline.isLoadedToEnd = true;
    }
  }
  return timeline;
}

std::optional<double> PresentationPlayer::positionOf(platform::Date date) const {
  const auto known = _state->known();
  const auto position = known.positionOf(date);
  if (!position) return std::nullopt;
  const platform::Date now{_source->civilTime().secondsSince1970 + _state->clockOffset};
  return known.window(now).clamp(*position);
}

void PresentationPlayer::whenText(
    std::function<void(const TrackPiece& piece, bool isFirst)> handler) {
  const bool isSet = static_cast<bool>(handler);
  _state->textHandler.set(std::move(handler));
  if (isSet) _waker->wake();
}

void PresentationPlayer::whenChanged(std::function<void()> handler) {
  _state->changeHandler.set(std::move(handler));
}

}  // namespace streaming
