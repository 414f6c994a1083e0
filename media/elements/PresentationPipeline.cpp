#include "media/elements/PresentationPipeline.h"

#include <utility>

#include "media/elements/PresentationElements.h"
#include "media/elements/PresentationSource.h"
#include "media/elements/SinkTail.h"
#include "media/pipeline/SeekShortcut.h"
#include "media/segments/TimestampOffsets.h"

namespace media {
namespace {

PacketQueues::Targets kindsOf(const streaming::Presentation& presentation) {
  PacketQueues::Targets kinds;
  for (const auto& period : presentation.periods)
    for (const auto& track : period.tracks) {
      if (track.kind == streaming::MediaKind::Video) kinds.video = true;
      if (track.kind == streaming::MediaKind::Audio) kinds.audio = true;
    }
  return kinds;
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
  auto* const bin = GST_BIN(_pipeline.get());
  const auto type = kind == ElementaryKind::Video ? GST_STREAM_TYPE_VIDEO : GST_STREAM_TYPE_AUDIO;
  const auto tail = SinkTail::add(bin, type, sink);
  if (tail) _source->linkTo(bin, kind, tail->head());
  return tail.has_value();
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
