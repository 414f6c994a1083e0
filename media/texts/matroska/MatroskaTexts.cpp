#include "media/texts/matroska/MatroskaTexts.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "media/pipeline/StreamDescription.h"
#include "media/support/DemuxerTap.h"
#include "media/support/GstRef.h"
#include "media/texts/TextLines.h"
#include "media/texts/TextStream.h"
#include "media/texts/matroska/MatroskaAdditions.h"
#include "media/texts/matroska/MatroskaTracks.h"

namespace media {
namespace {

constexpr std::string_view kWebVTTCodec = "S_TEXT/WEBVTT";

/// Sets the caps of WebVTT in the form of WebM, whose buffers have an identifier, settings and the
/// text. Used for both codecs of WebVTT.
void setWebVTTCaps(GstPad* pad, const std::string& header) {
  const GstRef<GstCaps> caps(gst_pad_get_current_caps(pad));
  if (!caps) return;
  const GstRef<GstCaps> named(gst_caps_copy(caps.get()));
  GstStructure* const form = gst_caps_get_structure(named.get(), 0);
  gst_structure_set_name(form, "application/x-subtitle-vtt");
  gst_structure_set(form, kCuePayload, G_TYPE_STRING, kCuePayloadWebM, nullptr);
  if (!header.empty()) {
    const GstRef<GstBuffer> data(gst_buffer_new_memdup(header.data(), header.size()));
    gst_structure_set(form, "codec_data", GST_TYPE_BUFFER, data.get(), nullptr);
  }
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
    if (track->second.codec.starts_with("D_WEBVTT/")) setWebVTTCaps(pad, {});
    if (track->second.codec != kWebVTTCodec) return;
    setWebVTTCaps(pad, track->second.codecPrivate);
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, _addHead, new TextPad{this, *number},
                      [](gpointer data) { delete static_cast<TextPad*>(data); });
  }

 private:
  /// Data of a probe. The pads of a demuxer end before the tap, which its sink pad owns.
  struct TextPad {
    const MatroskaTap* tap;
    std::uint64_t track;
  };

  /// Puts the identifier and the settings of a cue before its text.
  static GstPadProbeReturn _addHead(GstPad*, GstPadProbeInfo* info, gpointer data) {
    const auto& pad = *static_cast<const TextPad*>(data);
    GstBuffer* const buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    const std::string* addition = GST_BUFFER_PTS_IS_VALID(buffer)
                                      ? pad.tap->_additions.find(pad.track, GST_BUFFER_PTS(buffer))
                                      : nullptr;
    std::string_view lines = addition ? *addition : std::string_view();
    const std::string settings(takeLine(lines));
    const std::string head = std::string(takeLine(lines)) + "\n" + settings + "\n";
    GstBuffer* const whole = gst_buffer_new_memdup(head.data(), head.size());
    gst_buffer_copy_into(
        whole, buffer,
        static_cast<GstBufferCopyFlags>(GST_BUFFER_COPY_METADATA | GST_BUFFER_COPY_MEMORY), 0,
        static_cast<gsize>(-1));
    gst_buffer_unref(buffer);
    GST_PAD_PROBE_INFO_DATA(info) = whole;
    return GST_PAD_PROBE_OK;
  }

  void feed(std::uint64_t offset, Bytes bytes) override {
    _tracks.feed(offset, bytes);
    if (_hasAdditions()) _additions.feed(offset, bytes);
  }
  void restart() override {}
  void feedPulled(GstPad*, std::uint64_t offset, Bytes bytes) override { feed(offset, bytes); }

  /// Additions are only read in files that may have some.
  bool _hasAdditions() const {
    const auto& tracks = _tracks.tracks();
    return tracks.empty() || std::any_of(tracks.begin(), tracks.end(), [](const auto& each) {
             return each.second.codec == kWebVTTCodec;
           });
  }

  MatroskaTracks _tracks;
  MatroskaAdditions _additions;
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
