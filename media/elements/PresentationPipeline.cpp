#include "media/elements/PresentationPipeline.h"

#include <initializer_list>
#include <utility>
#include <vector>

#include "media/elements/PresentationElements.h"
#include "media/elements/PresentationSource.h"
#include "media/pipeline/SeekShortcut.h"
#include "media/segments/TimestampOffsets.h"

namespace media {
namespace {

/// Decoded pictures in front of the sink.
constexpr guint kPictures = 3;
constexpr guint64 kSound = 400 * GST_MSECOND;

PacketQueues::Targets kindsOf(const streaming::Presentation& presentation) {
  PacketQueues::Targets kinds;
  for (const auto& period : presentation.periods)
    for (const auto& track : period.tracks) {
      if (track.kind == streaming::MediaKind::Video) kinds.video = true;
      if (track.kind == streaming::MediaKind::Audio) kinds.audio = true;
    }
  return kinds;
}

GstElement* makeQueue(ElementaryKind kind) {
  GstElement* const queue = gst_element_factory_make("queue", nullptr);
  if (!queue) return nullptr;
  const bool isVideo = kind == ElementaryKind::Video;
  g_object_set(queue, "max-size-buffers", isVideo ? kPictures : 0u, "max-size-bytes", 0u,
               "max-size-time", isVideo ? guint64{0} : kSound, "silent", TRUE, nullptr);
  return queue;
}

}  // namespace

std::unique_ptr<PresentationPipeline> PresentationPipeline::make(const Setup& setup) {
  std::unique_ptr<PresentationPipeline> made(new PresentationPipeline);
  return made->_build(setup) ? std::move(made) : nullptr;
}

bool PresentationPipeline::_build(const Setup& setup) {
  const auto presentation = setup.playback->presentation();
  if (!presentation) return false;
  _offsets = std::make_shared<TimestampOffsets>();
  PacketQueues::Targets kinds = kindsOf(*presentation);
  kinds.video = kinds.video && setup.videoSink;
  kinds.audio = kinds.audio && setup.audioSink;
  _source = PresentationSource::make(
      {.playback = setup.playback,
       .start = setup.start,
       .makeDemuxer =
           [make = setup.makeDemuxer, offsets = _offsets, keys = setup.keys,
            foundID3 = setup.foundID3, foundEvent = setup.foundEvent](
               std::shared_ptr<streaming::TrackReader> reader, PacketQueues::Targets targets) {
             return make({.reader = std::move(reader),
                          .offsets = offsets,
                          .keys = keys,
                          .wantsVideo = targets.video,
                          .wantsAudio = targets.audio,
                          .foundID3 = foundID3,
                          .foundEvent = foundEvent});
           },
       .waiting = setup.waiting},
      kinds);
  _pipeline.reset(GST_ELEMENT(gst_object_ref_sink(makePresentationBin(_source))));
  g_object_set(_pipeline.get(), "auto-flush-bus", FALSE, nullptr);
  if (setup.bus) gst_element_set_bus(_pipeline.get(), setup.bus);
  takeSeekShortcuts(_pipeline.get());
  gst_bin_add(GST_BIN(_pipeline.get()), _source->element());
  return (!kinds.video || _addTail(ElementaryKind::Video, setup.videoSink)) &&
         (!kinds.audio || _addTail(ElementaryKind::Audio, setup.audioSink));
}

bool PresentationPipeline::_addTail(ElementaryKind kind, GstElement* sink) {
  std::vector<GstElement*> parts{makeQueue(kind)};
  if (kind == ElementaryKind::Video) {
    // Formats are converted behind the sink.
    parts.push_back(gst_element_factory_make("deinterlace", nullptr));
  } else {
    // Tempo keeps the pitch at other rates.
    for (const char* name : {"audioconvert", "scaletempo", "audioconvert", "audioresample"})
      parts.push_back(gst_element_factory_make(name, nullptr));
  }
  parts.push_back(sink);
  if (!parts.front()) return false;
  GstElement* last = nullptr;
  for (GstElement* const each : parts) {
    if (!each) continue;
    if (!gst_bin_add(GST_BIN(_pipeline.get()), each)) return false;
    if (last && !gst_element_link(last, each)) return false;
    last = each;
  }
  const GstRef<GstPad> head(gst_element_get_static_pad(parts.front(), "sink"));
  _source->linkTo(GST_BIN(_pipeline.get()), kind, head.get());
  return true;
}

void PresentationPipeline::setSelection(const streaming::TrackSelection& selection) {
  _source->select(selection);
}

std::optional<platform::Error> PresentationPipeline::failure() const { return _source->failure(); }

std::optional<double> PresentationPipeline::queuedUntil() const { return _source->queuedUntil(); }

void PresentationPipeline::close() {
  if (_pipeline) gst_element_set_state(_pipeline.get(), GST_STATE_NULL);
}

}  // namespace media
