#include "streaming/playback/PresentationFeed.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "streaming/playback/PlaybackErrors.h"
#include "streaming/playback/TrackLookup.h"

namespace streaming {
namespace {

/// Memory limit for buffered segments of all tracks. Running requests may exceed it by 4 MiB.
constexpr std::uint64_t kMaxBytes = std::uint64_t{44} * 1024 * 1024;

double bandwidthOf(const TrackFeeder& feeder) {
  const auto& representation = feeder.representation();
  return representation ? std::max(representation->averageBandwidth, representation->bandwidth) : 0;
}

/// Completes a multivariant playlist with the properties of a media playlist.
std::shared_ptr<const Presentation> mergedPresentation(const Presentation& manifest,
                                                       const MediaPlaylist& playlist,
                                                       platform::Date now) {
  auto merged = std::make_shared<Presentation>(manifest);
  merged->isLive = playlist.isLive;
  merged->targetDuration = playlist.targetDuration;
  merged->dates = playlist.dates;
  merged->events = playlist.events;
  merged->reload = playlist.reload;
  if (!merged->duration && !playlist.isLive) {
    if (const auto last = playlist.segments->last(now)) merged->duration = last->end();
  }
  return merged;
}

}  // namespace

PresentationFeed::PresentationFeed(Setup setup)
    : _setup(std::move(setup)),
      _clock(*_setup.source),
      _keys(*_setup.source),
      _initializations(*_setup.source, _keys),
      _meter(*_setup.source, *_setup.throughput),
      _tools{*_setup.source, _keys, _initializations, _meter},
      _indexes(*_setup.source, _setup.inheritsQuery,
               {[this] { _manifestChanged(); }, [this] { _manifest.requestUpdate(); },
                [this](const auto& url, const auto& error) { lost(url, error); }}),
      _manifest(*_setup.source, _clock, _indexes, _setup.inheritsQuery,
                {[this] { _manifestChanged(); },
                 [this](const auto& url, const auto& error) { lost(url, error); }}) {
  for (const MediaKind kind : kMediaKinds) {
    const auto index = static_cast<std::size_t>(kind);
    _feeders.at(index) = std::make_unique<TrackFeeder>(static_cast<FeederHost&>(*this), kind,
                                                       _setup.state->buffers.at(index));
  }
}

PresentationFeed::~PresentationFeed() = default;

void PresentationFeed::begin(ManifestType type, FetchResult result, Begun begun) {
  if (_isClosed) return;
  _begun = std::move(begun);
  _manifest.begin(type, std::move(result));
}

void PresentationFeed::prepare(const PresentationPlayback::Start& start, Ready ready) {
  if (_isClosed) return;
  _preparation.start = start;
  _preparation.ready = std::move(ready);
  _continuePreparing();
}

void PresentationFeed::select(const TrackSelection& selection) {
  if (_isClosed) return;
  const TrackSelection before = std::exchange(_selection, selection);
  _isSelected = true;
  if (!_manifest.presentation()) return;
  const double position = _setup.state->position;
  const auto set = [&](MediaKind kind, const std::string& old, const std::string& id) {
    _feeder(kind).setTrack(id);
    // A track of a new kind has no reader that would seek.
    if (_hasStarted && old.empty() && !id.empty()) _setup.state->buffer(kind).seek(position);
  };
  set(MediaKind::Video, before.video, selection.video);
  set(MediaKind::Audio, before.audio, selection.audio);
  set(MediaKind::Text, before.text, selection.text);
  // Text tracks have no reader either.
  if (_hasStarted && !selection.text.empty() && before.text != selection.text)
    _setup.state->buffer(MediaKind::Text).seek(position);
  if (_preparation.ready) return _continuePreparing();
  _publish();
  pump();
}

void PresentationFeed::setLimits(const PlaybackLimits& limits) {
  const PlaybackLimits before = std::exchange(_limits, limits);
  if (_isClosed || !_hasStarted || limits.decodableHeight <= 0) return;
  if (before.decodableHeight > 0 && before.decodableHeight <= limits.decodableHeight) return;
  // Buffered video that is too tall for the decoder is dropped.
  const auto& representation = _feeder(MediaKind::Video).representation();
  if (!representation || representation->height <= limits.decodableHeight) return;
  _feeder(MediaKind::Video).buffer().dropUnread();
  pump();
}

void PresentationFeed::close() {
  _isClosed = true;
  _begun = {};
  _preparation.ready = {};
  for (const auto& feeder : _feeders) feeder->stop();
  _manifest.stop();
  _indexes.clear();
  _initializations.clear();
  _keys.clear();
  _clock.stop();
}

void PresentationFeed::pump() {
  if (_isClosed || !_hasStarted) return;
  for (const auto& feeder : _feeders) feeder->pump();
  _deliverTexts();
  _refreshWindow();
}

void PresentationFeed::_manifestChanged() {
  if (_isClosed) return;
  _continuePreparing();
  pump();
  _publish();
  if (const auto begun = std::exchange(_begun, {}))
    begun(_manifest.presentation() ? std::nullopt : _manifest.error());
}

MediaKind PresentationFeed::_leadingKind() const {
  return _selection.video.empty() ? MediaKind::Audio : MediaKind::Video;
}

double PresentationFeed::otherBandwidth(MediaKind kind) const {
  if (kind != MediaKind::Video) return 0;
  return bandwidthOf(_feeder(MediaKind::Audio));
}

std::string PresentationFeed::audioGroup() const {
  const auto& picture = _feeder(MediaKind::Video).representation();
  return picture ? picture->audioGroup : std::string();
}

bool PresentationFeed::makeRoom(std::uint64_t bytes) {
  std::uint64_t sum = 0;
  for (const auto& feeder : _feeders) sum += feeder->buffer().bytes();
  for (const auto& feeder : _feeders) {
    if (sum + bytes <= kMaxBytes) return true;
    const std::uint64_t tooMany = sum + bytes - kMaxBytes;
    const std::uint64_t own = feeder->buffer().bytes();
    feeder->buffer().trim(own - std::min(own, tooMany), position());
    sum -= own - std::min(own, feeder->buffer().bytes());
  }
  return sum + bytes <= kMaxBytes;
}

void PresentationFeed::representationChanged(MediaKind kind) {
  if (kind == MediaKind::Video) _feeder(MediaKind::Audio).pump();
}

void PresentationFeed::pieceBegan(MediaKind kind, const TrackPiece& piece) {
  if (!isLeading(kind)) {
    _setup.record->noteRecovery();
    return;
  }
  const double bandwidth = piece.representation->bandwidth;
  const bool begins = _setup.record->mediaReceived(
      _setup.source->now(), piece.representation->id,
      bandwidth > 0 ? std::optional(bandwidth) : std::nullopt, piece.segment.duration);
  if (begins) _setup.entryStarted();
  _publish();
}

void PresentationFeed::pieceEnded(MediaKind kind) {
  {
    const std::lock_guard lock(_setup.state->mutex);
    _setup.state->isAtEnd.at(static_cast<std::size_t>(kind)) = _feeder(kind).isAtEnd();
  }
  if (kind == MediaKind::Text) _deliverTexts();
}

void PresentationFeed::lost(const std::string& url, const platform::Error& error) {
  _setup.record->addError(_setup.source->civilTime(), url, error);
}

bool PresentationFeed::_selectByDefault(double around) {
  if (!_isSelected) {
    const Period* period = periodAt(*_manifest.presentation(), around);
    if (period) _selection = defaultSelection(decodableTracks(*period, _setup.canDecode));
    if (_selection.video.empty() && _selection.audio.empty()) return false;
    _isSelected = true;
    const std::lock_guard lock(_setup.state->mutex);
    _setup.state->selection = _selection;
    _setup.state->isSelected = true;
  }
  _feeder(MediaKind::Video).setTrack(_selection.video);
  _feeder(MediaKind::Audio).setTrack(_selection.audio);
  _feeder(MediaKind::Text).setTrack(_selection.text);
  return true;
}

/// True: the leading track, or else the audio, can be started.
bool PresentationFeed::_loadTracks(double around) {
  const auto video = _feeder(MediaKind::Video).load(around);
  const auto audio = _feeder(MediaKind::Audio).load(around);
  const bool isPicture = _leadingKind() == MediaKind::Video;
  const auto leading = isPicture ? video : audio;
  if (leading == TrackFeeder::State::Loading) return false;
  // Audio can be played if the video has failed.
  return leading == TrackFeeder::State::Loaded || audio != TrackFeeder::State::Loading;
}

void PresentationFeed::_continuePreparing() {
  if (!_preparation.ready || _isClosed) return;
  const auto presentation = _manifest.presentation();
  if (!presentation || presentation->periods.empty()) {
    if (_manifest.error()) _endPreparing(0, _manifest.error());
    return;
  }
  if (presentation->isLive && !presentation->clocks.empty()) {
    if (!std::exchange(_preparation.isTimeAsked, true)) {
      _clock.synchronize(presentation->clocks, [this] {
        _preparation.hasTime = true;
        _manifestChanged();
      });
    }
    if (!_preparation.hasTime || !_preparation.ready) return;
  }
  const double around = _preparation.start.seconds.value_or(
      presentation->isLive ? presentation->periods.back().start : 0);
  if (!_selectByDefault(around)) {
    return _endPreparing(0, mediaError(platform::MediaErrorCode::DecoderNotFound,
                                       "No video or audio track can be played."));
  }
  if (!_loadTracks(around)) return;
  const auto failed = [&](MediaKind kind) {
    return _feeder(kind).track().empty() ||
           _feeder(kind).load(around) == TrackFeeder::State::Failed;
  };
  if (failed(MediaKind::Video) && failed(MediaKind::Audio)) {
    auto error = _feeder(_leadingKind()).error();
    if (!error) {
      error =
          mediaError(platform::MediaErrorCode::DecoderNotFound, "No representation can be played.");
    }
    return _endPreparing(0, std::move(error));
  }
  _publish();
  const double seconds = _startOf(_preparation.start);
  _startAt(seconds);
  _endPreparing(seconds, std::nullopt);
}

double PresentationFeed::_startOf(const PresentationPlayback::Start& start) const {
  const auto presentation = _manifest.presentation();
  const auto known = _setup.state->known();
  const auto window = known.window(_clock.now());
  if (start.date) {
    if (const auto position = known.positionOf(*start.date)) return window.clamp(*position);
  }
  if (start.seconds) return window.clamp(*start.seconds);
  if (start.fraction && !window.isLive && window.duration)
    return window.clamp(*start.fraction * *window.duration);
  const auto& playlist = known.playlist;
  return defaultStart(window, playlist && playlist->startOffset ? playlist->startOffset
                                                                : presentation->startOffset);
}

void PresentationFeed::_startAt(double seconds) {
  _hasStarted = true;
  _setup.state->position = seconds;
  _setup.state->startPosition = seconds;
  for (const MediaKind kind : kMediaKinds)
    if (!_feeder(kind).track().empty()) _setup.state->buffer(kind).seek(seconds);
  pump();
}

void PresentationFeed::_endPreparing(double seconds, std::optional<platform::Error> error) {
  const auto ready = std::exchange(_preparation.ready, {});
  if (error) _hasStarted = false;
  ready(seconds, std::move(error));
}

/// The segment index of the leading track in `period`, or null.
std::shared_ptr<const SegmentIndex> PresentationFeed::_leadingIndex(const Period& period) {
  const TrackFeeder& feeder = _feeder(_leadingKind());
  const Track* track = similarTrack(period, _leadingKind(), feeder.track(), nullptr);
  std::shared_ptr<const SegmentIndex> found;
  if (!track) return found;
  for (const auto& each : track->representations) {
    auto index = _indexes.index(*each);
    if (!index) continue;
    if (feeder.representation() && each->id == feeder.representation()->id) return index;
    if (!found) found = std::move(index);
  }
  return found;
}

void PresentationFeed::_publish() {
  auto presentation = _manifest.presentation();
  if (!presentation || presentation->periods.empty()) return;
  auto segments = _leadingIndex(presentation->periods.back());
  auto firstSegments = _leadingIndex(presentation->periods.front());
  const auto& representation = _feeder(_leadingKind()).representation();
  auto playlist = representation ? _indexes.playlist(*representation) : nullptr;
  _setup.state->clockOffset = _clock.offset();
  {
    const std::lock_guard lock(_setup.state->mutex);
    auto& known = _setup.state->knowledge;
    const bool isSame =
        known.segments == segments && known.playlist == playlist && known.manifest == presentation;
    if (isSame) return;
    if (!playlist)
      known.presentation = presentation;
    else if (playlist != known.playlist || presentation != known.manifest)
      known.presentation = mergedPresentation(*presentation, *playlist, _clock.now());
    known.manifest = std::move(presentation);
    known.segments = std::move(segments);
    known.firstSegments = std::move(firstSegments);
    known.playlist = std::move(playlist);
  }
  _setup.state->changeHandler.call();
}

void PresentationFeed::_deliverTexts() {
  if (_selection.text.empty() || !_setup.state->textHandler.isSet()) return;
  TrackBuffer& buffer = _setup.state->buffer(MediaKind::Text);
  bool isFirst = false;
  while (const auto piece = buffer.takeComplete(isFirst)) {
    // Gaps do not count as the first piece after a seek.
    _isTextFirst = _isTextFirst || isFirst;
    if (piece->kind != TrackPiece::Kind::Media ||
        piece->media->state() != SegmentBytes::State::Complete)
      continue;
    _setup.state->textHandler.call(*piece, std::exchange(_isTextFirst, false));
    if (_isClosed) return;
  }
}

/// Requests updates of a live presentation while it is playing, even if enough is buffered, so that
/// the seekable range stays current.
void PresentationFeed::_refreshWindow() {
  const double now = position();
  if (now == _refreshedAt) return;
  _refreshedAt = now;
  const auto& representation = _feeder(_leadingKind()).representation();
  if (!representation) return;
  const auto index = _leadingIndex(_manifest.presentation()->periods.back());
  if (index && (!index->isComplete() || _manifest.presentation()->isLive))
    _indexes.requestUpdate(representation);
}

}  // namespace streaming
