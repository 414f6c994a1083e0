#include "media/pipeline/CoverImage.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

#include <gst/video/video.h>

#include "media/pipeline/PictureMemory.h"
#include "media/support/LibavImage.h"

namespace media {
namespace {

constexpr std::size_t kMaxBytes = std::size_t{16} << 20U;
constexpr std::int64_t kMaxPixels = std::int64_t{4096} * 4096;
/// A progressive JPEG may have thousands of scans, of which each goes over the whole image.
constexpr std::size_t kMaxScans = 64;

struct FreeConverter {
  void operator()(GstVideoConverter* converter) const { gst_video_converter_free(converter); }
};

AVCodecID codecOfImage(std::string_view image) {
  using namespace std::literals;
  if (image.starts_with("\xFF\xD8\xFF"sv)) return AV_CODEC_ID_MJPEG;
  if (image.starts_with("\x89PNG\r\n"sv)) return AV_CODEC_ID_PNG;
  if (image.starts_with("RIFF"sv) && image.substr(0, 12).ends_with("WEBP"sv))
    return AV_CODEC_ID_WEBP;
  return image.starts_with("BM"sv) ? AV_CODEC_ID_BMP : AV_CODEC_ID_NONE;
}

bool hasTooManyScans(std::string_view image) {
  std::size_t count = 0;
  for (auto at = image.find("\xFF\xDA"); at != std::string_view::npos && count <= kMaxScans;
       at = image.find("\xFF\xDA", at + 2))
    ++count;
  return count > kMaxScans;
}

LibavFrame decodeCoverFrame(std::span<const std::uint8_t> image) {
  const std::string_view text(reinterpret_cast<const char*>(image.data()), image.size());
  const AVCodecID codec = codecOfImage(text);
  if (image.size() > kMaxBytes || (codec == AV_CODEC_ID_MJPEG && hasTooManyScans(text))) return {};
  return decodeImage(text, codec, kMaxPixels);
}

GstVideoFormat formatOf(const AVFrame& frame) {
  switch (frame.format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVA420P:
      return GST_VIDEO_FORMAT_I420;
    case AV_PIX_FMT_YUV422P:
    case AV_PIX_FMT_YUVJ422P:
      return GST_VIDEO_FORMAT_Y42B;
    case AV_PIX_FMT_YUV444P:
    case AV_PIX_FMT_YUVJ444P:
      return GST_VIDEO_FORMAT_Y444;
    case AV_PIX_FMT_GRAY8:
      return GST_VIDEO_FORMAT_GRAY8;
    case AV_PIX_FMT_RGB24:
      return GST_VIDEO_FORMAT_RGB;
    case AV_PIX_FMT_BGR24:
      return GST_VIDEO_FORMAT_BGR;
    case AV_PIX_FMT_RGBA:
      return GST_VIDEO_FORMAT_RGBx;
    case AV_PIX_FMT_BGRA:
    case AV_PIX_FMT_BGR0:
    case AV_PIX_FMT_PAL8:
      return GST_VIDEO_FORMAT_BGRx;
    case AV_PIX_FMT_ARGB:
      return GST_VIDEO_FORMAT_xRGB;
    default:
      return GST_VIDEO_FORMAT_UNKNOWN;
  }
}

/// Sets the colors of a decoded image. JPEG and WebP use the matrix of BT.601.
void setColors(GstVideoInfo& info, const AVFrame& frame) {
  if (GST_VIDEO_INFO_IS_RGB(&info)) return;
  info.colorimetry.matrix = GST_VIDEO_COLOR_MATRIX_BT601;
  const bool isFull = GST_VIDEO_INFO_IS_GRAY(&info) || frame.color_range == AVCOL_RANGE_JPEG ||
                      frame.format == AV_PIX_FMT_YUVJ420P || frame.format == AV_PIX_FMT_YUVJ422P ||
                      frame.format == AV_PIX_FMT_YUVJ444P;
  info.colorimetry.range = isFull ? GST_VIDEO_COLOR_RANGE_0_255 : GST_VIDEO_COLOR_RANGE_16_235;
}

void copyPlanes(const AVFrame& from, GstVideoFrame& to) {
  const std::size_t planes = GST_VIDEO_FRAME_N_PLANES(&to);
  for (std::size_t plane = 0; plane < planes; ++plane) {
    const auto index = static_cast<guint>(plane);
    const auto rows = static_cast<std::size_t>(GST_VIDEO_FRAME_COMP_HEIGHT(&to, index));
    const auto pixels = static_cast<std::size_t>(GST_VIDEO_FRAME_COMP_WIDTH(&to, index));
    const std::size_t bytes =
        pixels * static_cast<std::size_t>(GST_VIDEO_FRAME_COMP_PSTRIDE(&to, index));
    for (std::size_t y = 0; y < rows; ++y) {
      const std::uint8_t* const source =
          from.data[plane] + static_cast<std::ptrdiff_t>(y) * from.linesize[plane];
      auto* const target = static_cast<std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&to, index)) +
                           y * static_cast<std::size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&to, index));
      if (from.format != AV_PIX_FMT_PAL8) {
        std::memcpy(target, source, bytes);
        continue;
      }
      for (std::size_t x = 0; x < pixels; ++x)
        std::memcpy(target + 4 * x, from.data[1] + std::size_t{4} * source[x], 4);
    }
  }
}

struct Mapping {
  Mapping(const GstVideoInfo& info, GstBuffer* buffer, GstMapFlags flags)
      : isMapped(buffer && gst_video_frame_map(&frame, &info, buffer, flags)) {}
  ~Mapping() {
    if (isMapped) gst_video_frame_unmap(&frame);
  }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;

  GstVideoFrame frame{};
  const bool isMapped;
};

guint scaledSize(int size, double factor) {
  return static_cast<guint>(std::max<long>(std::lround(size * factor), 1));
}

/// Returns a buffer in shared memory. The pool may be closed while the buffer is in use.
GstRef<GstBuffer> pictureBuffer(GstCaps* caps, const GstVideoInfo& info) {
  const GstRef<GstBufferPool> pool = makePicturePool(caps, info);
  GstBuffer* buffer = nullptr;
  if (!pool) return {};
  gst_buffer_pool_acquire_buffer(pool.get(), &buffer, nullptr);
  gst_buffer_pool_set_active(pool.get(), FALSE);
  return GstRef<GstBuffer>(buffer);
}

}  // namespace

GstRef<GstSample> decodeCover(std::span<const std::uint8_t> image) {
  const LibavFrame decoded = decodeCoverFrame(image);
  if (!decoded) return {};
  const GstVideoFormat format = formatOf(*decoded);
  GstVideoInfo from;
  GstVideoInfo to;
  const double factor =
      std::min(1.0, static_cast<double>(kMaxCoverSize) / std::max(decoded->width, decoded->height));
  if (format == GST_VIDEO_FORMAT_UNKNOWN ||
      !gst_video_info_set_format(&from, format, static_cast<guint>(decoded->width),
                                 static_cast<guint>(decoded->height)) ||
      !gst_video_info_set_format(&to, GST_VIDEO_FORMAT_I420, scaledSize(decoded->width, factor),
                                 scaledSize(decoded->height, factor)))
    return {};
  setColors(from, *decoded);
  // Planes are only scaled. Their colors stay, because the converter ignores a change of the range.
  if (!GST_VIDEO_INFO_IS_RGB(&from)) to.colorimetry = from.colorimetry;
  const GstRef<GstCaps> caps(gst_video_info_to_caps(&to));
  const GstRef<GstBuffer> whole(
      gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&from), nullptr));
  GstRef<GstBuffer> picture = pictureBuffer(caps.get(), to);
  const std::unique_ptr<GstVideoConverter, FreeConverter> converter(
      gst_video_converter_new(&from, &to, nullptr));
  {
    Mapping source(from, whole.get(), GST_MAP_READWRITE);
    Mapping target(to, picture.get(), GST_MAP_WRITE);
    if (!converter || !source.isMapped || !target.isMapped) return {};
    copyPlanes(*decoded, source.frame);
    gst_video_converter_frame(converter.get(), &source.frame, &target.frame);
  }
  return GstRef<GstSample>(gst_sample_new(picture.get(), caps.get(), nullptr, nullptr));
}

}  // namespace media
