// What only presentations of HLS and DASH need. On the pipeline's thread.

#include <algorithm>
#include <utility>

#include "media/elements/PresentationPipeline.h"
#include "media/metadata/EventMessages.h"
#include "media/metadata/ID3Tag.h"
#include "media/pipeline/Pipeline.h"
#include "media/pipeline/SeekShortcut.h"
#include "media/segments/TextSegments.h"
#include "media/support/GstTime.h"

namespace media {
namespace {

using Kind = PipelineEvent::Kind;
using streaming::MediaKind;
using streaming::Track;
using streaming::TrackSelection;

std::vector<StreamDescription> descriptionsOf(const std::vector<Track>& tracks) {
  std::vector<StreamDescription> descriptions;
  for (const Track& track : tracks)
    if (track.captionChannel.empty()) descriptions.push_back(describeTrack(track));
  return descriptions;
}

BoxBytes boxBytesOf(const std::string& bytes) {
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

}  // namespace

TrackSelection Pipeline::_trackSelection() const {
  TrackSelection selection;
  for (const StreamDescription& each : _catalog.playing()) {
    if (each.type & GST_STREAM_TYPE_VIDEO) selection.video = each.id;
    if (each.type & GST_STREAM_TYPE_AUDIO) selection.audio = each.id;
    if (each.type & GST_STREAM_TYPE_TEXT) selection.text = each.id;
  }
  return selection;
}

void Pipeline::_openPresentation() {
  const auto playback = _setup.item->presentation();
  playback->whenChanged([weak = weak_from_this()] {
    if (const auto me = weak.lock())
      me->_post([](Pipeline& pipeline) { pipeline._updatePresentation(); });
  });
  _noteTracks();
  if (const auto choice = _catalog.preferred(_setup.preferredLanguages)) _catalog.choose(*choice);
  playback->select(_trackSelection());
  streaming::PresentationPlayback::Start start;
  start.seconds = std::exchange(_wantedPosition, std::nullopt);
  start.fraction = std::exchange(_wantedFraction, std::nullopt);
  start.date = std::exchange(_wantedDate, std::nullopt);
  playback->prepare(
      start, {.displayHeight = _setup.displayHeight},
      [weak = weak_from_this()](double seconds, std::optional<platform::Error> error) {
        if (const auto me = weak.lock())
          me->_post([seconds, error](Pipeline& pipeline) {
            pipeline._buildPresentation(seconds, error);
          });
      });
}

void Pipeline::_noteTracks() {
  const auto tracks = _setup.item->presentation()->tracksAt(_position.seconds());
  _noteCaptionTracks(tracks);
  const bool changed = _catalog.update(descriptionsOf(tracks));
  const auto has = [&](MediaKind kind) {
    return std::any_of(tracks.begin(), tracks.end(),
                       [&](const Track& each) { return each.kind == kind; });
  };
  if (_sound) _sound->setHasPicture(has(MediaKind::Video));
  if (!changed || !_ready) return;
  _refreshFacts();
  _report(Kind::Facts);
}

void Pipeline::_buildPresentation(double start, const std::optional<platform::Error>& error) {
  if (_failed || _closing) return;
  if (error) return _fail(*error);
  _makeSinks();
  _subtitles->setStyles(_setup.subtitleStyles);
  _position.hold(start);
  PresentationPipeline::Setup setup;
  setup.playback = _setup.item->presentation();
  setup.keys = _contentKeys;
  setup.videoSink = _videoSink->element();
  setup.audioSink = _sound->element();
  setup.bus = _bus.get();
  setup.start = start;
  // Called on streaming threads, all of which have ended before the pipeline is taken down.
  setup.foundID3 = [this](double seconds, const std::string& tag) {
    auto items = itemsOfID3Tag(boxBytesOf(tag));
    if (items.empty()) return;
    _metadata->add(MetadataTimeline::Source::Stream, std::max(0.0, seconds), std::move(items));
    _post([](Pipeline&) {});
  };
  setup.foundEvent = [this](double segmentStart, double timeOffset, const std::string& box) {
    constexpr std::size_t kBoxHeader = 8;
    if (box.size() < kBoxHeader) return;
    const auto event = readEventMessage(boxBytesOf(box).subspan(kBoxHeader));
    if (!event) return;
    const double seconds = event->seconds + (event->isAbsolute ? timeOffset : segmentStart);
    _metadata->add(MetadataTimeline::Source::Events, std::max(0.0, seconds),
                   itemsOfEvent(event->message));
    _post([](Pipeline&) {});
  };
  setup.waiting = [this](bool waits) { _post([waits](Pipeline& me) { me._noteWaiting(waits); }); };
  _presentation = PresentationPipeline::make(std::move(setup));
  if (!_presentation) return _fail(unknownMediaError());
  _textSegments = std::make_unique<TextSegments>(_presentation->offsets());
  _setup.item->presentation()->whenText(
      [weak = weak_from_this()](const streaming::TrackPiece& piece, bool isFirst) {
        if (const auto me = weak.lock())
          me->_post([piece, isFirst](Pipeline& pipeline) { pipeline._noteText(piece, isFirst); });
      });
  _player.reset(GST_ELEMENT(gst_object_ref(_presentation->element())));
  takeSeekShortcuts(_player.get());
  _appliedStop.reset();
  _applyVolume();
  _progress();
}

void Pipeline::_updatePresentation() {
  if (_failed || _closing || !_presentation) return;
  _noteTracks();
  _noteEvents();
  const auto duration = _facts.duration;
  _refreshFacts();
  if (!_ready) return;
  if (duration != _facts.duration && _timeRuns && !_seeking && !_scrubbing) _runPosition();
  _report(Kind::Facts);
}

void Pipeline::_noteText(const streaming::TrackPiece& piece, bool isFirst) {
  if (_failed || _closing) return;
  if (isFirst) _subtitles->clear();
  for (SubtitleCue& cue : _textSegments->read(piece)) _subtitles->add(std::move(cue));
  _setup.frames->textsDidChange(_setup.ticket);
}

void Pipeline::_refreshPresentationFacts() {
  const auto timeline = _setup.item->presentation()->timeline(_position.seconds());
  _live = false;
  _facts.live = timeline.isLive;
  _facts.duration = timeline.duration;
  _facts.seekable = timeline.seekable;
  _facts.loaded = timeline.loaded;
  if (_ready && !_buffering) {
    _facts.likelyToKeepUp = true;
    _facts.bufferEmpty = false;
    _facts.bufferFull = timeline.isLoadedToEnd || !_waits;
  }
  _facts.tracks = _catalog.tracks();
  _facts.selectionGroups = _groups();
  _publishFacts();
}

}  // namespace media
