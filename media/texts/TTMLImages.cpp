#include "media/texts/TTMLImages.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <glib.h>

#include "media/texts/PngImage.h"

namespace media {
namespace {

constexpr std::size_t kMaxTTMLImages = 1024;
constexpr std::size_t kMaxTTMLPixels = std::size_t{12} << 20;
constexpr int kMaxTTMLCanvas = 8192;
constexpr std::string_view kSubsampleName = "urn:mpeg:14496-30:subs:";

std::string bytesOfBase64(std::string_view base64) {
  // GLib requires a buffer of this size.
  std::string bytes(base64.size() + 3, '\0');
  gint state = 0;
  guint saved = 0;
  bytes.resize(g_base64_decode_step(base64.data(), base64.size(),
                                    reinterpret_cast<guchar*>(bytes.data()), &state, &saved));
  return bytes;
}

int canvasSide(double pixels) {
  return static_cast<int>(std::lround(std::clamp(pixels, 1.0, double{kMaxTTMLCanvas})));
}

}  // namespace

TTMLImages::TTMLImages(std::span<const std::string_view> images) {
  for (std::size_t index = 0; index < std::min(images.size(), kMaxTTMLImages); ++index)
    _images[std::string(kSubsampleName) + std::to_string(index + 1)] = {std::string(images[index]),
                                                                        std::nullopt};
}

void TTMLImages::beginData(std::string identifier) { _open.emplace(std::move(identifier), ""); }

void TTMLImages::append(std::string_view base64) {
  if (_open) _open->second += base64;
}

void TTMLImages::endData() {
  if (!_open) return;
  const auto [identifier, base64] = *std::exchange(_open, std::nullopt);
  if (!identifier.empty() && _images.size() < kMaxTTMLImages)
    _images["#" + identifier] = {bytesOfBase64(base64), std::nullopt};
}

const CueImage* TTMLImages::_find(std::string_view reference) {
  const auto found = _images.find(reference);
  if (found == _images.end()) return nullptr;
  Entry& entry = found->second;
  if (!entry.decoded && !entry.bytes.empty()) {
    constexpr std::size_t kMaxCuePixels = SubtitleCue::kImageByteLimit / sizeof(std::uint32_t);
    entry.decoded = decodePng(entry.bytes, std::min(kMaxTTMLPixels - _pixels, kMaxCuePixels));
    entry.bytes = {};
    if (entry.decoded) _pixels += entry.decoded->pixels.size();
  }
  return entry.decoded ? &*entry.decoded : nullptr;
}

std::optional<CueImage> TTMLImages::place(std::string_view reference, const TTMLStyle& style,
                                          const TTMLRoot& root) {
  const CueImage* found = _find(reference);
  if (!found) return std::nullopt;
  CueImage image = *found;
  const auto [left, top] = style.origin.value_or(TTMLStyle::Point(0, 0));
  const auto [width, height] = style.extent.value_or(TTMLStyle::Point(1, 1));
  if (width <= 0 || height <= 0) return std::nullopt;
  const bool isInPixels = root.width > 0 && root.height > 0;
  // Without a size in pixels, the image fills its box.
  image.canvasWidth = canvasSide(isInPixels ? root.width : image.width / width);
  image.canvasHeight = canvasSide(isInPixels ? root.height : image.height / height);
  const auto at = [](double begin, double extent, int canvas, int size, double share) {
    const double pixels = std::clamp(begin, -1.0, 1.0) * canvas;
    const double room = std::clamp(extent, 0.0, 1.0) * canvas - size;
    return static_cast<int>(std::lround(pixels + room * share));
  };
  image.x = at(left, width, image.canvasWidth, image.width, style.imageX.value_or(0));
  image.y = at(top, height, image.canvasHeight, image.height, style.imageY.value_or(0));
  return image;
}

}  // namespace media
