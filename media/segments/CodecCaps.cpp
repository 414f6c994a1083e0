#include "media/segments/CodecCaps.h"

#include <gst/video/video.h>

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavformat/avformat.h>
}

namespace media {
namespace {

using Setup = std::span<const std::uint8_t>;

constexpr std::uint32_t codecTag(char a, char b, char c, char d) {
  return static_cast<std::uint32_t>(MKTAG(a, b, c, d));
}

/// avcC and hvcC, whose NAL units have length prefixes, begin with version 1. Codec data with start
/// codes begins with zeros.
bool isLengthPrefixed(Setup setup) { return setup.size() > 6 && setup[0] == 1; }

GstRef<GstCaps> nalCaps(const char* type, const char* outside, const char* inside, bool isInside,
                        Setup setup) {
  const bool hasLengths = isLengthPrefixed(setup);
  const char* const format = !hasLengths ? "byte-stream" : isInside ? inside : outside;
  GstRef<GstCaps> caps(gst_caps_new_simple(type, "stream-format", G_TYPE_STRING, format,
                                           "alignment", G_TYPE_STRING, "au", nullptr));
  if (hasLengths) setBytes(*caps, "codec_data", setup);
  return caps;
}

GstRef<GstCaps> mpegVideoCaps(int version, Setup setup) {
  GstRef<GstCaps> caps(gst_caps_new_simple("video/mpeg", "mpegversion", G_TYPE_INT, version,
                                           "systemstream", G_TYPE_BOOLEAN, FALSE, nullptr));
  setBytes(*caps, "codec_data", setup);
  return caps;
}

GstRef<GstCaps> pictureCaps(const AVCodecParameters& parameters, Setup setup) {
  const std::uint32_t tag = parameters.codec_tag;
  switch (parameters.codec_id) {
    case AV_CODEC_ID_H264:
      return nalCaps("video/x-h264", "avc", "avc3",
                     tag == codecTag('a', 'v', 'c', '3') || tag == codecTag('a', 'v', 'c', '4'),
                     setup);
    case AV_CODEC_ID_HEVC:
      return nalCaps("video/x-h265", "hvc1", "hev1",
                     tag == codecTag('h', 'e', 'v', '1') || tag == codecTag('d', 'v', 'h', 'e'),
                     setup);
    case AV_CODEC_ID_VP8:
      return GstRef<GstCaps>(gst_caps_new_empty_simple("video/x-vp8"));
    case AV_CODEC_ID_VP9:
      return GstRef<GstCaps>(gst_caps_new_empty_simple("video/x-vp9"));
    case AV_CODEC_ID_AV1: {
      GstRef<GstCaps> caps(gst_caps_new_simple("video/x-av1", "stream-format", G_TYPE_STRING,
                                               "obu-stream", "alignment", G_TYPE_STRING, "tu",
                                               nullptr));
      setBytes(*caps, "codec_data", setup);
      return caps;
    }
    case AV_CODEC_ID_MPEG4:
      return mpegVideoCaps(4, setup);
    case AV_CODEC_ID_MPEG2VIDEO:
      return mpegVideoCaps(2, setup);
    case AV_CODEC_ID_MPEG1VIDEO:
      return mpegVideoCaps(1, setup);
    case AV_CODEC_ID_H263:
      return GstRef<GstCaps>(
          gst_caps_new_simple("video/x-h263", "variant", G_TYPE_STRING, "itu", nullptr));
    case AV_CODEC_ID_MJPEG:
      return GstRef<GstCaps>(gst_caps_new_empty_simple("image/jpeg"));
    default:
      return nullptr;
  }
}

void setColour(GstCaps& caps, const AVCodecParameters& parameters) {
  const bool isKnown = parameters.color_primaries != AVCOL_PRI_UNSPECIFIED ||
                       parameters.color_trc != AVCOL_TRC_UNSPECIFIED ||
                       parameters.color_space != AVCOL_SPC_UNSPECIFIED;
  if (!isKnown) return;
  GstVideoColorimetry colour{};
  colour.range = parameters.color_range == AVCOL_RANGE_JPEG   ? GST_VIDEO_COLOR_RANGE_0_255
                 : parameters.color_range == AVCOL_RANGE_MPEG ? GST_VIDEO_COLOR_RANGE_16_235
                                                              : GST_VIDEO_COLOR_RANGE_UNKNOWN;
  colour.matrix = gst_video_color_matrix_from_iso(static_cast<guint>(parameters.color_space));
  colour.transfer = gst_video_transfer_function_from_iso(static_cast<guint>(parameters.color_trc));
  colour.primaries =
      gst_video_color_primaries_from_iso(static_cast<guint>(parameters.color_primaries));
  const GstRef<gchar> text(gst_video_colorimetry_to_string(&colour));
  if (text) gst_caps_set_simple(&caps, "colorimetry", G_TYPE_STRING, text.get(), nullptr);
}

void setPicture(GstCaps& caps, const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  if (parameters.width > 0 && parameters.height > 0)
    gst_caps_set_simple(&caps, "width", G_TYPE_INT, parameters.width, "height", G_TYPE_INT,
                        parameters.height, nullptr);
  const AVRational aspect = stream.sample_aspect_ratio.num > 0 ? stream.sample_aspect_ratio
                                                               : parameters.sample_aspect_ratio;
  if (aspect.num > 0 && aspect.den > 0)
    gst_caps_set_simple(&caps, "pixel-aspect-ratio", GST_TYPE_FRACTION, aspect.num, aspect.den,
                        nullptr);
  setColour(caps, parameters);
}

}  // namespace

GstRef<GstBuffer> bufferOf(std::span<const std::uint8_t> bytes) {
  GstRef<GstBuffer> buffer(gst_buffer_new_allocate(nullptr, bytes.size(), nullptr));
  gst_buffer_fill(buffer.get(), 0, bytes.data(), bytes.size());
  return buffer;
}

void setBytes(GstCaps& caps, const char* field, std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return;
  gst_caps_set_simple(&caps, field, GST_TYPE_BUFFER, bufferOf(bytes).get(), nullptr);
}

GstRef<GstCaps> capsOf(const AVStream& stream, std::span<const std::uint8_t> setup) {
  if (stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
    return soundCapsOf(*stream.codecpar, setup);
  GstRef<GstCaps> caps = pictureCaps(*stream.codecpar, setup);
  if (caps) setPicture(*caps, stream);
  return caps;
}

}  // namespace media
