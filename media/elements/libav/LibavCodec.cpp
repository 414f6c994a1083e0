#include "media/elements/libav/LibavCodec.h"

#include <algorithm>
#include <cstring>
#include <thread>

extern "C" {
#include <libavutil/mem.h>
}

namespace media {
namespace {

constexpr unsigned kMaxCodecThreads = 4;
constexpr std::int64_t kMaxCodecPixels = std::int64_t{8192} * 8192;
constexpr std::size_t kLargestCodecData = std::size_t{16} << 20;

int intField(const GstStructure* structure, const char* name) {
  int value = 0;
  gst_structure_get_int(structure, name, &value);
  return value;
}

bool copyExtradata(AVCodecContext& context, const GstStructure* structure) {
  GstBuffer* const data = [&]() -> GstBuffer* {
    const GValue* const value = gst_structure_get_value(structure, "codec_data");
    return value ? gst_value_get_buffer(value) : nullptr;
  }();
  if (!data) return true;
  const std::size_t size = gst_buffer_get_size(data);
  if (size > kLargestCodecData) return false;
  context.extradata = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
  if (!context.extradata) return false;
  context.extradata_size = static_cast<int>(size);
  gst_buffer_extract(data, 0, context.extradata, size);
  return true;
}

AVCodecID codecOf(const GstStructure* structure) {
  if (gst_structure_has_name(structure, "video/x-h264")) return AV_CODEC_ID_H264;
  const char* const name = gst_structure_get_string(structure, "codec");
  const AVCodecDescriptor* const descriptor = name ? avcodec_descriptor_get_by_name(name) : nullptr;
  return descriptor ? descriptor->id : AV_CODEC_ID_NONE;
}

}  // namespace

std::unique_ptr<LibavCodec> LibavCodec::open(const GstCaps& caps) {
  const GstStructure* const structure = gst_caps_get_structure(&caps, 0);
  const AVCodec* const codec = avcodec_find_decoder(codecOf(structure));
  if (!codec) return nullptr;
  std::unique_ptr<LibavCodec> self(new LibavCodec);
  self->_context.reset(avcodec_alloc_context3(codec));
  self->_frame.reset(av_frame_alloc());
  self->_packet.reset(av_packet_alloc());
  if (!self->_context || !self->_frame || !self->_packet) return nullptr;
  AVCodecContext& context = *self->_context;
  gst_structure_get_uint(structure, "tag", &context.codec_tag);
  gst_structure_get_int64(structure, "bit-rate", &context.bit_rate);
  context.bits_per_coded_sample = intField(structure, "depth");
  context.block_align = intField(structure, "block-align");
  if (codec->type == AVMEDIA_TYPE_VIDEO) {
    context.width = context.coded_width = intField(structure, "width");
    context.height = context.coded_height = intField(structure, "height");
    context.pix_fmt = static_cast<AVPixelFormat>(intField(structure, "format"));
    context.max_pixels = kMaxCodecPixels;
    context.thread_count =
        static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, kMaxCodecThreads));
    // Pictures are copied, so their rows need not be aligned.
    context.flags |= AV_CODEC_FLAG_UNALIGNED;
    // A stream may be refreshed in parts, without any key frame.
    if (codec->id == AV_CODEC_ID_H264) context.flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
  } else {
    context.sample_rate = intField(structure, "rate");
    context.sample_fmt = static_cast<AVSampleFormat>(intField(structure, "format"));
    av_channel_layout_default(&context.ch_layout, intField(structure, "channels"));
  }
  if (!copyExtradata(context, structure)) return nullptr;
  if (avcodec_open2(&context, codec, nullptr) < 0) return nullptr;
  return self;
}

bool LibavCodec::send(std::span<const std::uint8_t> bytes, std::int64_t time) {
  // The packet needs padding, which av_new_packet() adds.
  if (av_new_packet(_packet.get(), static_cast<int>(bytes.size())) < 0) return false;
  std::memcpy(_packet->data, bytes.data(), bytes.size());
  _packet->pts = _packet->dts = time;
  const int result = avcodec_send_packet(_context.get(), _packet.get());
  av_packet_unref(_packet.get());
  return result >= 0;
}

void LibavCodec::drain() { avcodec_send_packet(_context.get(), nullptr); }

const AVFrame* LibavCodec::receive() {
  return avcodec_receive_frame(_context.get(), _frame.get()) >= 0 ? _frame.get() : nullptr;
}

void LibavCodec::flush() { avcodec_flush_buffers(_context.get()); }

void LibavCodec::setSkipping(bool isSkipping) {
  _context->skip_frame = isSkipping ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
}

}  // namespace media
