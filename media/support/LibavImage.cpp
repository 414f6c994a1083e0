#include "media/support/LibavImage.h"

#include <algorithm>
#include <limits>
#include <string>

#include "media/support/LibavLog.h"

namespace media {
namespace {

struct ImageRelease {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

std::size_t chunkSize(std::string_view bytes) {
  std::size_t size = 0;
  for (const char each : bytes.substr(0, 4)) size = size << 8 | static_cast<unsigned char>(each);
  return size;
}

/// Returns a PNG with its critical chunks and its transparency only.
std::string withoutOptionalChunks(std::string_view png) {
  constexpr std::size_t kSignatureSize = 8;
  constexpr std::size_t kFrameSize = 12;  // length, type and checksum of a chunk
  std::string kept(png.substr(0, kSignatureSize));
  png.remove_prefix(kept.size());
  while (png.size() >= kFrameSize) {
    const std::size_t size = chunkSize(png);
    if (size > png.size() - kFrameSize) break;
    const std::string_view chunk = png.substr(0, size + kFrameSize);
    const bool isCritical = (chunk[4] & 0x20) == 0;
    if (isCritical || chunk.substr(4, 4) == "tRNS") kept += chunk;
    png.remove_prefix(chunk.size());
  }
  return kept;
}

}  // namespace

LibavFrame decodeImage(std::string_view image, AVCodecID id, std::int64_t maxPixels) {
  silenceLibav();
  std::string filtered;
  if (id == AV_CODEC_ID_PNG) image = filtered = withoutOptionalChunks(image);
  const AVCodec* const codec = avcodec_find_decoder(id);
  if (!codec || image.size() > std::numeric_limits<int>::max() / 2) return {};
  const std::unique_ptr<AVCodecContext, ImageRelease> context(avcodec_alloc_context3(codec));
  const std::unique_ptr<AVPacket, ImageRelease> packet(av_packet_alloc());
  LibavFrame frame(av_frame_alloc());
  if (!context || !packet || !frame) return {};
  context->thread_count = 1;
  // A second header later in the file cannot enlarge the image.
  context->max_pixels = maxPixels;
  if (avcodec_open2(context.get(), codec, nullptr) < 0 ||
      av_new_packet(packet.get(), static_cast<int>(image.size())) < 0)
    return {};
  std::copy(image.begin(), image.end(), packet->data);
  if (avcodec_send_packet(context.get(), packet.get()) < 0) return {};
  avcodec_send_packet(context.get(), nullptr);
  if (avcodec_receive_frame(context.get(), frame.get()) < 0) return {};
  const auto pixels = static_cast<std::int64_t>(frame->width) * frame->height;
  if (frame->width <= 0 || frame->height <= 0 || pixels > maxPixels) return {};
  return frame;
}

}  // namespace media
