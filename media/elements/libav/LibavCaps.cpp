#include "media/elements/libav/LibavCaps.h"

#include <span>
#include <string>

#include "media/segments/CodecCaps.h"
#include "media/support/DecoderLookup.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace media {
namespace {

void setStreamFields(GstCaps& caps, const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  gst_caps_set_simple(&caps, "codec", G_TYPE_STRING, avcodec_get_name(parameters.codec_id), "tag",
                      G_TYPE_UINT, parameters.codec_tag, "format", G_TYPE_INT, parameters.format,
                      "depth", G_TYPE_INT, parameters.bits_per_coded_sample, "bit-rate",
                      G_TYPE_INT64, static_cast<gint64>(parameters.bit_rate), "block-align",
                      G_TYPE_INT, parameters.block_align, nullptr);
  if (parameters.extradata_size > 0)
    setBytes(caps, "codec_data",
             {parameters.extradata, static_cast<std::size_t>(parameters.extradata_size)});
}

GstRef<GstCaps> videoCaps(const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  GstRef<GstCaps> caps(gst_caps_new_simple(kLibavVideoCaps, "width", G_TYPE_INT, parameters.width,
                                           "height", G_TYPE_INT, parameters.height, nullptr));
  const AVRational rate = stream.avg_frame_rate;
  if (rate.num > 0 && rate.den > 0)
    gst_caps_set_simple(caps.get(), "framerate", GST_TYPE_FRACTION, rate.num, rate.den, nullptr);
  const AVRational aspect = stream.sample_aspect_ratio.num > 0 ? stream.sample_aspect_ratio
                                                               : parameters.sample_aspect_ratio;
  if (aspect.num > 0 && aspect.den > 0)
    gst_caps_set_simple(caps.get(), "pixel-aspect-ratio", GST_TYPE_FRACTION, aspect.num, aspect.den,
                        nullptr);
  return caps;
}

GstRef<GstCaps> audioCaps(const AVCodecParameters& parameters) {
  return GstRef<GstCaps>(gst_caps_new_simple(kLibavAudioCaps, "rate", G_TYPE_INT,
                                             parameters.sample_rate, "channels", G_TYPE_INT,
                                             parameters.ch_layout.nb_channels, nullptr));
}

/// Returns whether GStreamer's parsers find no frames in the packets, or not all channels.
bool needsLibavcodec(const AVCodecParameters& parameters) {
  // FF_PROFILE_DTS in FFmpeg 5, AV_PROFILE_DTS in FFmpeg 7. Express and HD have larger numbers.
  constexpr int kProfileDTS = 20;
  return parameters.codec_id == AV_CODEC_ID_AAC_LATM ||
         (parameters.codec_id == AV_CODEC_ID_DTS && parameters.profile > kProfileDTS);
}

GstRef<GstCaps> textCaps(AVCodecID codec, std::span<const std::uint8_t> setup) {
  switch (codec) {
    case AV_CODEC_ID_HDMV_PGS_SUBTITLE:
      return GstRef<GstCaps>(gst_caps_new_empty_simple("subpicture/x-pgs"));
    case AV_CODEC_ID_DVB_SUBTITLE:
      return GstRef<GstCaps>(gst_caps_new_empty_simple("subpicture/x-dvb"));
    case AV_CODEC_ID_SUBRIP:
      return GstRef<GstCaps>(gst_caps_from_string("text/x-raw, format=(string)pango-markup"));
    case AV_CODEC_ID_ASS: {
      GstRef<GstCaps> caps(gst_caps_new_empty_simple("application/x-ass"));
      setBytes(*caps, "codec_data", setup);
      return caps;
    }
    default:
      return nullptr;
  }
}

}  // namespace

GstRef<GstCaps> libavCapsOf(const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  const std::span<const std::uint8_t> setup(parameters.extradata,
                                            static_cast<std::size_t>(parameters.extradata_size));
  if (parameters.codec_type == AVMEDIA_TYPE_SUBTITLE) return textCaps(parameters.codec_id, setup);
  GstRef<GstCaps> caps = needsLibavcodec(parameters) ? nullptr : capsOf(stream, setup);
  if (caps && (gst_structure_has_name(gst_caps_get_structure(caps.get(), 0), "audio/x-raw") ||
               hasDecoder(caps.get())))
    return caps;
  const bool isVideo = parameters.codec_type == AVMEDIA_TYPE_VIDEO;
  if (!avcodec_find_decoder(parameters.codec_id)) {
    const char* const type = isVideo ? "video/x-vorlane-unknown" : "audio/x-vorlane-unknown";
    return GstRef<GstCaps>(gst_caps_new_simple(type, "codec", G_TYPE_STRING,
                                               avcodec_get_name(parameters.codec_id), nullptr));
  }
  caps = isVideo ? videoCaps(stream) : audioCaps(parameters);
  setStreamFields(*caps, stream);
  return caps;
}

}  // namespace media
