#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include <gst/audio/gstaudiodecoder.h>

#include "media/elements/libav/LibavCaps.h"
#include "media/elements/libav/LibavCodec.h"
#include "media/elements/libav/LibavDecoder.h"
#include "media/support/GstRef.h"

namespace media {
namespace {

constexpr int kMaxAudioChannels = 64;
// A packet may decode to any number of samples. They are sent in parts of about this size.
constexpr std::size_t kLargestAudioPart = std::size_t{1} << 20;
/// Number of packets that may wait for their output.
constexpr int kMaxPendingAudioPackets = 64;

struct AudioDecoderState {
  std::unique_ptr<LibavCodec> codec;
  GstAudioInfo format{};
  bool hasFormat = false;
  std::vector<std::uint8_t> samples;  // decoded and not sent
  int packets = 0;                    // that have not been finished
  bool hasSentPart = false;           // of the samples of these packets
};

struct LibavAudioDecoder {
  GstAudioDecoder parent;
  AudioDecoderState* state;
};
struct LibavAudioDecoderClass {
  GstAudioDecoderClass parent;
};
GObjectClass* audioDecoderParent = nullptr;

AudioDecoderState& audioState(gpointer element) {
  return *static_cast<LibavAudioDecoder*>(element)->state;
}

GstAudioFormat audioFormatOf(int format) {
  switch (av_get_packed_sample_fmt(static_cast<AVSampleFormat>(format))) {
    case AV_SAMPLE_FMT_U8:
      return GST_AUDIO_FORMAT_U8;
    case AV_SAMPLE_FMT_S16:
      return GST_AUDIO_FORMAT_S16;
    case AV_SAMPLE_FMT_S32:
      return GST_AUDIO_FORMAT_S32;
    case AV_SAMPLE_FMT_FLT:
      return GST_AUDIO_FORMAT_F32;
    case AV_SAMPLE_FMT_DBL:
      return GST_AUDIO_FORMAT_F64;
    default:
      return GST_AUDIO_FORMAT_UNKNOWN;
  }
}

/// Channels are in the order of their bits in both libraries.
bool describeFormat(const AVFrame& frame, GstAudioInfo& info) {
  const GstAudioFormat format = audioFormatOf(frame.format);
  const int channels = frame.ch_layout.nb_channels;
  if (format == GST_AUDIO_FORMAT_UNKNOWN || channels <= 0 || channels > kMaxAudioChannels ||
      frame.sample_rate <= 0)
    return false;
  std::array<GstAudioChannelPosition, kMaxAudioChannels> positions{};
  const std::uint64_t mask = frame.ch_layout.order == AV_CHANNEL_ORDER_NATIVE
                                 ? frame.ch_layout.u.mask
                                 : gst_audio_channel_get_fallback_mask(channels);
  const bool hasPositions =
      channels > 1 && gst_audio_channel_positions_from_mask(channels, mask, positions.data());
  gst_audio_info_set_format(&info, format, frame.sample_rate, channels,
                            hasPositions ? positions.data() : nullptr);
  return true;
}

void appendSamples(const AVFrame& frame, std::vector<std::uint8_t>& samples) {
  const auto size =
      static_cast<std::size_t>(av_get_bytes_per_sample(static_cast<AVSampleFormat>(frame.format)));
  const auto channels = static_cast<std::size_t>(frame.ch_layout.nb_channels);
  const auto count = static_cast<std::size_t>(frame.nb_samples);
  const std::size_t start = samples.size();
  samples.resize(start + size * channels * count);
  std::uint8_t* to = samples.data() + start;
  if (!av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame.format))) {
    std::memcpy(to, frame.data[0], size * channels * count);
    return;
  }
  for (std::size_t sample = 0; sample < count; ++sample)
    for (std::size_t channel = 0; channel < channels; ++channel, to += size)
      std::memcpy(to, frame.extended_data[channel] + sample * size, size);
}

GstFlowReturn finishPackets(GstAudioDecoder* decoder, GstBuffer* buffer) {
  AudioDecoderState& state = audioState(decoder);
  state.hasSentPart = false;
  return gst_audio_decoder_finish_frame(decoder, buffer, std::exchange(state.packets, 0));
}

/// Sends the samples. `isPart`: more samples of the same packets may follow.
GstFlowReturn sendSamples(GstAudioDecoder* decoder, bool isPart = false) {
  AudioDecoderState& state = audioState(decoder);
  if (state.samples.empty()) {
    const bool isOver = state.hasSentPart || state.packets > kMaxPendingAudioPackets;
    return isOver && !isPart ? finishPackets(decoder, nullptr) : GST_FLOW_OK;
  }
  GstBuffer* const buffer = gst_audio_decoder_allocate_output_buffer(decoder, state.samples.size());
  if (!buffer) return GST_FLOW_ERROR;
  gst_buffer_fill(buffer, 0, state.samples.data(), state.samples.size());
  state.samples.clear();
  if (!isPart) return finishPackets(decoder, buffer);
  state.hasSentPart = true;
  return gst_audio_decoder_finish_subframe(decoder, buffer);
}

GstFlowReturn receiveSamples(GstAudioDecoder* decoder) {
  AudioDecoderState& state = audioState(decoder);
  while (const AVFrame* const frame = state.codec->receive()) {
    GstAudioInfo format;
    gst_audio_info_init(&format);
    if (!describeFormat(*frame, format)) return GST_FLOW_NOT_NEGOTIATED;
    if (!state.hasFormat || !gst_audio_info_is_equal(&format, &state.format)) {
      if (const GstFlowReturn flow = sendSamples(decoder, true); flow != GST_FLOW_OK) return flow;
      state.format = format;
      state.hasFormat = gst_audio_decoder_set_output_format(decoder, &format);
      if (!state.hasFormat) return GST_FLOW_NOT_NEGOTIATED;
    }
    appendSamples(*frame, state.samples);
    if (state.samples.size() < kLargestAudioPart) continue;
    if (const GstFlowReturn flow = sendSamples(decoder, true); flow != GST_FLOW_OK) return flow;
  }
  return sendSamples(decoder);
}

GstFlowReturn decodeAudio(GstAudioDecoder* decoder, GstBuffer* packet) {
  AudioDecoderState& state = audioState(decoder);
  if (!state.codec) return GST_FLOW_NOT_NEGOTIATED;
  if (!packet) {
    state.codec->drain();
    const GstFlowReturn flow = receiveSamples(decoder);
    state.codec->flush();
    return flow;
  }
  GstMapInfo map;
  if (!gst_buffer_map(packet, &map, GST_MAP_READ)) return GST_FLOW_ERROR;
  ++state.packets;
  const bool isGood = state.codec->send({map.data, map.size}, 0);
  gst_buffer_unmap(packet, &map);
  if (isGood) return receiveSamples(decoder);
  GstFlowReturn flow = GST_FLOW_OK;
  GST_AUDIO_DECODER_ERROR(decoder, 1, STREAM, DECODE, (nullptr), ("damaged packet"), flow);
  return flow == GST_FLOW_OK ? finishPackets(decoder, nullptr) : flow;
}

gboolean setAudioFormat(GstAudioDecoder* decoder, GstCaps* caps) {
  AudioDecoderState& state = audioState(decoder);
  state = {};
  state.codec = LibavCodec::open(*caps);
  return state.codec != nullptr;
}

void flushAudio(GstAudioDecoder* decoder, gboolean) {
  AudioDecoderState& state = audioState(decoder);
  if (state.codec) state.codec->flush();
  state.samples.clear();
  state.packets = 0;
  state.hasSentPart = false;
}

gboolean stopAudio(GstAudioDecoder* decoder) {
  audioState(decoder) = {};
  return TRUE;
}

void createAudioState(GTypeInstance* instance, gpointer) {
  auto* const self = static_cast<LibavAudioDecoder*>(static_cast<gpointer>(instance));
  self->state = new AudioDecoderState;
  gst_audio_decoder_set_needs_format(&self->parent, TRUE);
}

void initialiseAudioClass(gpointer type, gpointer) {
  audioDecoderParent = G_OBJECT_CLASS(g_type_class_peek_parent(type));
  G_OBJECT_CLASS(type)->finalize = [](GObject* object) {
    delete static_cast<LibavAudioDecoder*>(static_cast<gpointer>(object))->state;
    audioDecoderParent->finalize(object);
  };
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  const GstRef<GstCaps> sink(gst_caps_new_empty_simple(kLibavAudioCaps));
  const GstRef<GstCaps> source(gst_caps_from_string("audio/x-raw, layout=(string)interleaved"));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, sink.get()));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, source.get()));
  gst_element_class_set_static_metadata(element, "Audio decoder", "Codec/Decoder/Audio",
                                        "Decodes audio with libavcodec", "TVVorlane");
  auto* const decoder = static_cast<GstAudioDecoderClass*>(type);
  decoder->set_format = setAudioFormat;
  decoder->handle_frame = decodeAudio;
  decoder->flush = flushAudio;
  decoder->stop = stopAudio;
}

}  // namespace

void registerLibavAudioDecoder() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_AUDIO_DECODER, "VorlaneLibavAudioDecoder", sizeof(LibavAudioDecoderClass),
      initialiseAudioClass, sizeof(LibavAudioDecoder), createAudioState,
      static_cast<GTypeFlags>(0));
  gst_element_register(nullptr, "vorlanelibavaudio", GST_RANK_MARGINAL, type);
}

}  // namespace media
