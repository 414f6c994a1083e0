#include <array>
#include <string_view>
#include <vector>

#include <gst/audio/audio.h>

#include "media/segments/CodecCaps.h"

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavutil/channel_layout.h>
}

namespace media {
namespace {

using SoundSetup = std::span<const std::uint8_t>;

GstRef<GstCaps> typedCaps(const char* type) {
  return GstRef<GstCaps>(gst_caps_new_empty_simple(type));
}

GstRef<GstCaps> framedCaps(const char* type) {
  return GstRef<GstCaps>(gst_caps_new_simple(type, "framed", G_TYPE_BOOLEAN, TRUE, nullptr));
}

void setStreamHeader(GstCaps& caps, const std::vector<SoundSetup>& headers) {
  GValue list = G_VALUE_INIT;
  g_value_init(&list, GST_TYPE_ARRAY);
  for (const SoundSetup header : headers) {
    GValue value = G_VALUE_INIT;
    g_value_init(&value, GST_TYPE_BUFFER);
    gst_value_take_buffer(&value, bufferOf(header).release());
    gst_value_array_append_and_take_value(&list, &value);
  }
  gst_caps_set_value(&caps, "streamheader", &list);
  g_value_unset(&list);
}

/// AAC with an AudioSpecificConfig is raw; otherwise each frame has a header.
GstRef<GstCaps> aacCaps(SoundSetup setup, bool isLATM) {
  const char* const format = isLATM ? "loas" : setup.size() >= 2 ? "raw" : "adts";
  GstRef<GstCaps> caps(gst_caps_new_simple("audio/mpeg", "mpegversion", G_TYPE_INT, 4, "framed",
                                           G_TYPE_BOOLEAN, TRUE, "stream-format", G_TYPE_STRING,
                                           format, nullptr));
  if (!isLATM) setBytes(*caps, "codec_data", setup);
  return caps;
}

GstRef<GstCaps> mpegAudioCaps(int layer) {
  return GstRef<GstCaps>(gst_caps_new_simple("audio/mpeg", "mpegversion", G_TYPE_INT, 1, "layer",
                                             G_TYPE_INT, layer, "parsed", G_TYPE_BOOLEAN, TRUE,
                                             nullptr));
}

GstRef<GstCaps> opusCaps(const AVCodecParameters& parameters, SoundSetup head) {
  constexpr std::size_t kOpusHeadSize = 19;
  constexpr std::string_view kTags("OpusTags\0\0\0\0\0\0\0\0", 16);
  GstRef<GstCaps> caps = typedCaps("audio/x-opus");
  int channels = parameters.ch_layout.nb_channels > 0 ? parameters.ch_layout.nb_channels : 2;
  int family = 0;
  int streams = 1;
  int coupled = channels == 2 ? 1 : 0;
  if (head.size() >= kOpusHeadSize) {
    channels = head[9];
    family = head[18];
    coupled = channels == 2 ? 1 : 0;
    const std::size_t mappedHead = kOpusHeadSize + 2 + static_cast<std::size_t>(channels);
    if (family != 0 && head.size() >= mappedHead) {
      streams = head[19];
      coupled = head[20];
      GValue mapping = G_VALUE_INIT;
      g_value_init(&mapping, GST_TYPE_ARRAY);
      for (const std::uint8_t each : head.subspan(21, static_cast<std::size_t>(channels))) {
        GValue value = G_VALUE_INIT;
        g_value_init(&value, G_TYPE_INT);
        g_value_set_int(&value, each);
        gst_value_array_append_and_take_value(&mapping, &value);
      }
      gst_caps_set_value(caps.get(), "channel-mapping", &mapping);
      g_value_unset(&mapping);
    }
    setStreamHeader(*caps,
                    {head, {reinterpret_cast<const std::uint8_t*>(kTags.data()), kTags.size()}});
  }
  gst_caps_set_simple(caps.get(), "rate", G_TYPE_INT, 48000, "channels", G_TYPE_INT, channels,
                      "channel-mapping-family", G_TYPE_INT, family, "stream-count", G_TYPE_INT,
                      streams, "coupled-count", G_TYPE_INT, coupled, nullptr);
  return caps;
}

/// Splits the three Vorbis headers of `setup`, which have Xiph lacing.
std::vector<SoundSetup> lacedHeaders(SoundSetup setup) {
  if (setup.empty() || setup[0] != 2) return {};
  std::size_t at = 1;
  std::array<std::size_t, 2> lengths{};
  for (std::size_t& length : lengths) {
    std::uint8_t part = 255;
    while (part == 255) {
      if (at >= setup.size()) return {};
      part = setup[at++];
      length += part;
    }
  }
  SoundSetup rest = setup.subspan(at);
  if (lengths[0] > rest.size() || lengths[1] > rest.size() - lengths[0]) return {};
  return {rest.first(lengths[0]), rest.subspan(lengths[0], lengths[1]),
          rest.subspan(lengths[0] + lengths[1])};
}

GstRef<GstCaps> vorbisCaps(SoundSetup setup) {
  const auto headers = lacedHeaders(setup);
  if (headers.empty()) return nullptr;
  GstRef<GstCaps> caps = typedCaps("audio/x-vorbis");
  setStreamHeader(*caps, headers);
  return caps;
}

GstRef<GstCaps> flacCaps(SoundSetup streamInfo) {
  constexpr std::size_t kStreamInfoSize = 34;
  constexpr std::array<std::uint8_t, 4> kMarker{'f', 'L', 'a', 'C'};
  GstRef<GstCaps> caps = framedCaps("audio/x-flac");
  if (streamInfo.size() < kStreamInfoSize) return caps;
  std::vector<std::uint8_t> block{0x80, 0, 0, kStreamInfoSize};  // the last block, STREAMINFO
  block.insert(block.end(), streamInfo.begin(), streamInfo.begin() + kStreamInfoSize);
  setStreamHeader(*caps, {kMarker, block});
  return caps;
}

struct PCMFormat {
  AVCodecID codec;
  const char* format;
};
constexpr PCMFormat kPCMFormats[] = {
    {AV_CODEC_ID_PCM_S16LE, "S16LE"}, {AV_CODEC_ID_PCM_S16BE, "S16BE"},
    {AV_CODEC_ID_PCM_S24LE, "S24LE"}, {AV_CODEC_ID_PCM_S24BE, "S24BE"},
    {AV_CODEC_ID_PCM_S32LE, "S32LE"}, {AV_CODEC_ID_PCM_S32BE, "S32BE"},
    {AV_CODEC_ID_PCM_F32LE, "F32LE"}, {AV_CODEC_ID_PCM_F32BE, "F32BE"},
    {AV_CODEC_ID_PCM_F64LE, "F64LE"}, {AV_CODEC_ID_PCM_F64BE, "F64BE"},
    {AV_CODEC_ID_PCM_U8, "U8"},       {AV_CODEC_ID_PCM_S8, "S8"},
};

GstRef<GstCaps> pcmCaps(const AVCodecParameters& parameters) {
  for (const PCMFormat& each : kPCMFormats) {
    if (each.codec != parameters.codec_id) continue;
    GstRef<GstCaps> caps(gst_caps_new_simple("audio/x-raw", "format", G_TYPE_STRING, each.format,
                                             "layout", G_TYPE_STRING, "interleaved", nullptr));
    if (parameters.ch_layout.nb_channels > 2)
      gst_caps_set_simple(caps.get(), "channel-mask", GST_TYPE_BITMASK,
                          gst_audio_channel_get_fallback_mask(parameters.ch_layout.nb_channels),
                          nullptr);
    return caps;
  }
  return nullptr;
}

GstRef<GstCaps> codecCaps(const AVCodecParameters& parameters, SoundSetup setup) {
  switch (parameters.codec_id) {
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_AAC_LATM:
      return aacCaps(setup, parameters.codec_id == AV_CODEC_ID_AAC_LATM);
    case AV_CODEC_ID_MP1:
      return mpegAudioCaps(1);
    case AV_CODEC_ID_MP2:
      return mpegAudioCaps(2);
    case AV_CODEC_ID_MP3:
      return mpegAudioCaps(3);
    case AV_CODEC_ID_AC3:
      return framedCaps("audio/x-ac3");
    case AV_CODEC_ID_EAC3:
      return framedCaps("audio/x-eac3");
    case AV_CODEC_ID_DTS:
      return framedCaps("audio/x-dts");
    case AV_CODEC_ID_OPUS:
      return opusCaps(parameters, setup);
    case AV_CODEC_ID_VORBIS:
      return vorbisCaps(setup);
    case AV_CODEC_ID_FLAC:
      return flacCaps(setup);
    case AV_CODEC_ID_ALAC: {
      GstRef<GstCaps> caps = typedCaps("audio/x-alac");
      setBytes(*caps, "codec_data", setup);
      return caps;
    }
    default:
      return pcmCaps(parameters);
  }
}

}  // namespace

GstRef<GstCaps> soundCapsOf(const AVCodecParameters& parameters,
                            std::span<const std::uint8_t> setup) {
  GstRef<GstCaps> caps = codecCaps(parameters, setup);
  if (!caps || parameters.codec_id == AV_CODEC_ID_OPUS) return caps;
  if (parameters.sample_rate > 0)
    gst_caps_set_simple(caps.get(), "rate", G_TYPE_INT, parameters.sample_rate, nullptr);
  if (parameters.ch_layout.nb_channels > 0)
    gst_caps_set_simple(caps.get(), "channels", G_TYPE_INT, parameters.ch_layout.nb_channels,
                        nullptr);
  return caps;
}

}  // namespace media
