#include "media/pipeline/playback/PlayerBuilder.h"

#include <utility>

#include "media/elements/ResourcePipeline.h"
#include "media/elements/SilentStreams.h"
#include "media/encryption/ClearKeyDecryptor.h"
#include "media/pipeline/SeekShortcut.h"
#include "media/texts/matroska/MatroskaTexts.h"
#include "media/workarounds/Workarounds.h"

namespace media {
void PlayerBuilder::makeBus() {
  _elements.bus.reset(gst_bus_new());
  _load.mailbox->attach(_elements.bus.get());
  _sound.make(_elements.bus.get());
}

void PlayerBuilder::_makeSinks() {
  _elements.video = std::make_unique<VideoSink>(
      _load.setup.frames, _load.setup.ticket, _load.position, _texts.cues(), _texts.rendered(),
      [this](PictureCaptions::Channel channel) {
        _load.mailbox->post([this, channel] { _selection.noteCaptions(channel); });
      });
  _elements.video->setHidden(_wanted.needsSeek(_state));
  _sound.setUp();
  _buffering.watch(_elements);
  _texts.cues()->setStyles(_load.setup.subtitleStyles);
}

bool PlayerBuilder::buildResource(GstElement* source, const std::optional<MediaSpan>& span) {
  if (!source) return false;
  _makeSinks();
  _texts.makeSink();
  auto playedSpan = span;
  // libavformat has no clock that begins earlier.
  if (playedSpan && _state.usesLibavformat) playedSpan->lead = playedSpan->earliest = 0;
  auto player = makeResourcePipeline({.source = source,
                                      .videoSink = _elements.video->element(),
                                      .audioSink = _elements.sound->element(),
                                      .textSink = _elements.text->element(),
                                      .bus = _elements.bus.get(),
                                      .usesLibavformat = _state.usesLibavformat,
                                      .leftOut = _state.leftOut,
                                      .span = playedSpan});
  if (!player) return false;
  _metadata.watch(player.get());
  Workarounds::shared().installForPipeline(player.get());
  reportSilentStreams(player.get());
  takeSeekShortcuts(player.get());
  reportMatroskaTexts(player.get());
  if (_load.contentKeys) setContentKeys(player.get(), _load.contentKeys);
  _elements.player = std::move(player);
  _sound.applyVolume();
  return true;
}

bool PlayerBuilder::buildPresentation(double start) {
  _makeSinks();
  _load.position.hold(start);
  PresentationPipeline::Setup setup;
  setup.playback = _load.setup.item->presentation();
  setup.keys = _load.contentKeys;
  setup.videoSink = _elements.video->element();
  setup.audioSink = _elements.sound->element();
  setup.bus = _elements.bus.get();
  setup.start = start;
  // Called on streaming threads, which end before this object is destroyed.
  setup.foundID3 = [this](double seconds, const std::string& tag) {
    _metadata.addID3(seconds, tag);
  };
  setup.foundEvent = [this](double segmentStart, double timeOffset, const std::string& box) {
    _metadata.addEvent(segmentStart, timeOffset, box);
  };
  setup.waiting = [this](bool waits) {
    _load.mailbox->post([this, waits] { _buffering.noteWaiting(waits); });
  };
  _elements.presentation = PresentationPipeline::make(setup);
  if (!_elements.presentation) return false;
  _texts.setUpSegments(_elements.presentation->offsets());
  _receiveTexts();
  _elements.player.reset(GST_ELEMENT(gst_object_ref(_elements.presentation->element())));
  _state.stop.reset();
  _sound.applyVolume();
  return true;
}

void PlayerBuilder::_receiveTexts() {
  _load.setup.item->presentation()->whenText(
      [this, post = _load.mailbox->poster()](const streaming::TrackPiece& piece, bool isFirst) {
        post([this, piece, isFirst] {
          if (!_state.failed && !_state.closing) _texts.addSegment(piece, isFirst);
        });
      });
}

void PlayerBuilder::takeDown() {
  if (_elements.bus) gst_bus_set_flushing(_elements.bus.get(), TRUE);
  if (_elements.bus) gst_bus_set_sync_handler(_elements.bus.get(), nullptr, nullptr, nullptr);
  _elements.presentation.reset();
  _elements.player.reset();
  _elements.video.reset();
  _elements.text.reset();
  _elements.sound.reset();
  _elements.bus.reset();
}

}  // namespace media
