#include "media/texts/MatroskaTexts.h"

#include <memory>

#include "media/pipeline/StreamDescription.h"
#include "media/support/DemuxerTap.h"
#include "media/support/GstRef.h"
#include "media/texts/MatroskaTracks.h"
#include "media/texts/TextStream.h"

namespace media {
namespace {

void setWebVTTCaps(GstPad* pad, const char* payload) {
  const GstRef<GstCaps> caps(gst_pad_get_current_caps(pad));
  if (!caps) return;
  const GstRef<GstCaps> named(gst_caps_copy(caps.get()));
  GstStructure* const form = gst_caps_get_structure(named.get(), 0);
  gst_structure_set_name(form, "application/x-subtitle-vtt");
  gst_structure_set(form, kCuePayload, G_TYPE_STRING, payload, nullptr);
  gst_pad_set_caps(pad, named.get());
}

class MatroskaTap final : public DemuxerTap {
 public:
  void announce(GstElement* demuxer, GstPad* pad) const {
    gchar* id = gst_pad_get_stream_id(pad);
    const GstRef<gchar> owned(id);
    const auto number = id ? numberOfStreamID(id) : std::nullopt;
    const auto track = number ? _tracks.tracks().find(*number) : _tracks.tracks().end();
    if (track == _tracks.tracks().end()) return;
    if (track->second.forced)
      gst_element_post_message(
          demuxer, gst_message_new_element(GST_OBJECT(demuxer),
                                           gst_structure_new(kForcedTextMessage, kForcedTextStream,
                                                             G_TYPE_STRING, id, nullptr)));
    if (track->second.codec == "S_TEXT/WEBVTT") setWebVTTCaps(pad, kCuePayloadBare);
    if (track->second.codec.starts_with("D_WEBVTT/")) setWebVTTCaps(pad, kCuePayloadWebM);
  }

 private:
  void feed(std::uint64_t offset, Bytes bytes) override { _tracks.feed(offset, bytes); }
  void restart() override {}
  void feedPulled(GstPad*, std::uint64_t offset, Bytes bytes) override {
    _tracks.feed(offset, bytes);
  }

  MatroskaTracks _tracks;
};

void onMatroskaElement(GstBin*, GstBin*, GstElement* element, gpointer) {
  if (!isFromFactory(element, "matroskademux")) return;
  const GstRef<GstPad> pad(gst_element_get_static_pad(element, "sink"));
  if (!pad) return;
  auto tap = std::make_unique<MatroskaTap>();
  // The handler has to be connected before the one of the element that links the pads.
  g_signal_connect(element, "pad-added",
                   G_CALLBACK(+[](GstElement* demuxer, GstPad* added, gpointer self) {
                     static_cast<const MatroskaTap*>(self)->announce(demuxer, added);
                   }),
                   tap.get());
  DemuxerTap::attach(std::move(tap), pad.get());
}

}  // namespace

void reportMatroskaTexts(GstElement* pipeline) {
  g_signal_connect(pipeline, "deep-element-added", G_CALLBACK(onMatroskaElement), nullptr);
}

}  // namespace media
