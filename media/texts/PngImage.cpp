#include "media/texts/PngImage.h"

#include <cstdint>
#include <vector>

#include "media/support/LibavImage.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace media {
namespace {

constexpr std::string_view kPngSignature = "\x89PNG\r\n\x1a\n";
constexpr std::uint32_t kMaxPngSide = 8192;
constexpr std::size_t kPngHeadSize = 24;  // signature, and the chunk IHDR up to the size

std::uint32_t pngNumber(std::string_view bytes) {
  std::uint32_t value = 0;
  for (const char each : bytes.substr(0, 4)) value = value << 8 | static_cast<unsigned char>(each);
  return value;
}

/// Reads the components of one row by the description of the pixel format.
class PixelRow {
 public:
  PixelRow(const AVFrame& frame, const AVPixFmtDescriptor& format)
      : _frame(frame), _format(format), _values(static_cast<std::size_t>(frame.width)) {}

  /// Returns the component of each pixel of row `y`, scaled to 8 bits.
  const std::vector<std::uint16_t>& component(int index, int y) {
    const AVComponentDescriptor& component = _format.comp[index];
    av_read_image_line(_values.data(), const_cast<const std::uint8_t**>(_frame.data),
                       _frame.linesize, &_format, 0, y, index, _frame.width, 0);
    for (std::uint16_t& each : _values)
      each = component.depth > 8
                 ? static_cast<std::uint16_t>(each >> (component.depth - 8))
                 : static_cast<std::uint16_t>(each * 255 / ((1 << component.depth) - 1));
    return _values;
  }

 private:
  const AVFrame& _frame;
  const AVPixFmtDescriptor& _format;
  std::vector<std::uint16_t> _values;
};

void readPaletteRow(const AVFrame& frame, int y, std::uint32_t* row) {
  const auto* palette = reinterpret_cast<const std::uint32_t*>(frame.data[1]);
  const std::uint8_t* indices = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
  for (int x = 0; x < frame.width; ++x) row[x] = palette[indices[x]];
}

std::optional<CueImage> imageOfFrame(const AVFrame& frame) {
  const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  if (!format || frame.width <= 0 || frame.height <= 0) return std::nullopt;
  const auto width = static_cast<std::size_t>(frame.width);
  CueImage image{frame.width, frame.height, 0, 0, frame.width, frame.height, {}};
  image.pixels.resize(width * static_cast<std::size_t>(frame.height));
  const bool hasPalette = (format->flags & AV_PIX_FMT_FLAG_PAL) != 0;
  const bool isGray = format->nb_components < 3;
  const bool hasAlpha = (format->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
  if (!hasPalette && !isGray && (format->flags & AV_PIX_FMT_FLAG_RGB) == 0) return std::nullopt;
  PixelRow reader(frame, *format);
  for (int y = 0; y < frame.height; ++y) {
    std::uint32_t* row = image.pixels.data() + static_cast<std::size_t>(y) * width;
    if (hasPalette) {
      readPaletteRow(frame, y, row);
      continue;
    }
    const auto add = [&](int component, unsigned shift) {
      const auto& values = reader.component(component, y);
      for (std::size_t x = 0; x < width; ++x)
        row[x] |= static_cast<std::uint32_t>(values[x] & 0xFFU) << shift;
    };
    for (int color = 0; color < 3; ++color)
      add(isGray ? 0 : color, static_cast<unsigned>(16 - 8 * color));
    if (hasAlpha)
      add(format->nb_components - 1, 24);
    else
      for (std::size_t x = 0; x < width; ++x) row[x] |= 0xFF000000U;
  }
  return image;
}

}  // namespace

std::optional<CueImage> decodePng(std::string_view bytes, std::size_t maxPixels) {
  if (!bytes.starts_with(kPngSignature) || bytes.size() < kPngHeadSize) return std::nullopt;
  const std::uint32_t width = pngNumber(bytes.substr(16));
  const std::uint32_t height = pngNumber(bytes.substr(20));
  if (width == 0 || height == 0 || width > kMaxPngSide || height > kMaxPngSide ||
      std::size_t{width} * height > maxPixels)
    return std::nullopt;
  const LibavFrame frame =
      decodeImage(bytes, AV_CODEC_ID_PNG, static_cast<std::int64_t>(maxPixels));
  return frame ? imageOfFrame(*frame) : std::nullopt;
}

std::string_view takePng(std::string_view& bytes) {
  if (!bytes.starts_with(kPngSignature)) return {};
  std::size_t at = kPngSignature.size();
  constexpr std::size_t kFrameSize = 12;  // length, type and checksum of a chunk
  while (bytes.size() - at >= kFrameSize) {
    const std::size_t size = pngNumber(bytes.substr(at));
    const bool isEnd = bytes.substr(at + 4, 4) == "IEND";
    if (size > bytes.size() - at - kFrameSize) return {};
    at += size + kFrameSize;
    if (!isEnd) continue;
    const std::string_view png = bytes.substr(0, at);
    bytes.remove_prefix(at);
    return png;
  }
  return {};
}

}  // namespace media
