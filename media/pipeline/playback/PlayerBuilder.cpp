#include "media/pipeline/playback/PlayerBuilder.h"

#include <utility>

#include "media/encryption/ClearKeyDecryptor.h"
#include "media/pipeline/SeekShortcut.h"
#include "media/texts/MatroskaTexts.h"
#include "media/workarounds/Workarounds.h"

namespace media {
namespace {

// Of playbin3's flags, which have no public type.
constexpr guint kFlagText = 1u << 2;
constexpr guint kFlagSoftVolume = 1u << 4;
constexpr guint kFlagNativeVideo = 1u << 6;
constexpr guint kFlagSoftColorBalance = 1u << 10;

}  // namespace

void PlayerBuilder::makeBus() {
  _elements.bus.reset(gst_bus_new());
  _load.mailbox->attach(_elements.bus.get());
  _sound.make(_elements.bus.get());
}

void PlayerBuilder::_makeSinks() {
  _elements.video = std::make_unique<VideoSink>(
      _load.setup.frames, _load.setup.ticket, _load.position, _texts.cues(),
      [this](PictureCaptions::Channel channel) {
        _load.mailbox->post([this, channel] { _selection.noteCaptions(channel); });
      });
  _elements.video->setHidden(_wanted.needsSeek(_state));
  _sound.setUp();
  _buffering.watch(_elements);
  _texts.cues()->setStyles(_load.setup.subtitleStyles);
}

bool PlayerBuilder::buildPlaybin(const std::string& uri) {
  GstElement* playbin = gst_element_factory_make("playbin3", nullptr);
  if (!playbin) return false;
  _elements.player.reset(GST_ELEMENT(gst_object_ref_sink(playbin)));
  gst_element_set_bus(playbin, _elements.bus.get());
  // Commands come over the bus also after a failure has taken the pipeline down.
  g_object_set(playbin, "auto-flush-bus", FALSE, nullptr);
  _makeSinks();

  guint flags = 0;
  g_object_get(playbin, "flags", &flags, nullptr);
  // Formats are converted behind the sink, where it costs no negotiation.
  flags = (flags | kFlagText | kFlagNativeVideo) & ~(kFlagSoftVolume | kFlagSoftColorBalance);
  g_object_set(playbin, "flags", flags, "uri", uri.c_str(), nullptr);
  if (GstElement* const sink = _elements.video->element())
    g_object_set(playbin, "video-sink", sink, nullptr);
  if (GstElement* const sink = _elements.sound->element())
    g_object_set(playbin, "audio-sink", sink, nullptr);
  _texts.setUpSink();
  _metadata.watch(playbin);
  // Keeps the pitch at other rates.
  if (GstElement* tempo = gst_element_factory_make("scaletempo", nullptr))
    g_object_set(playbin, "audio-filter", tempo, nullptr);
  Workarounds::shared().installForPlaybin(playbin);
  takeSeekShortcuts(playbin);
  tellMatroskaTexts(playbin);
  if (_load.contentKeys) offerContentKeys(playbin, _load.contentKeys);
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
  // Called on streaming threads, all of which have ended before the pipeline is taken down.
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
  _elements.resourceURI = {};
  _elements.video.reset();
  _elements.text.reset();
  _elements.sound.reset();
  _elements.bus.reset();
}

}  // namespace media
