#include "media/texts/ass/AlphaBitmaps.h"

#include <algorithm>
#include <utility>

namespace media {
namespace {

/// More images would be more textures for the screen; fewer would have more transparent pixels.
constexpr std::size_t kBlendedImages = 4;

struct BitmapArea {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;

  bool isEmpty() const { return left >= right || top >= bottom; }
  std::size_t pixels() const {
    return static_cast<std::size_t>(right - left) * static_cast<std::size_t>(bottom - top);
  }
  bool overlaps(const BitmapArea& other) const {
    return left < other.right && other.left < right && top < other.bottom && other.top < bottom;
  }
  BitmapArea united(const BitmapArea& other) const {
    return {std::min(left, other.left), std::min(top, other.top), std::max(right, other.right),
            std::max(bottom, other.bottom)};
  }
};

/// The part of a bitmap on the canvas. Its place and size may have any values.
BitmapArea visibleArea(const AlphaBitmap& bitmap, int canvasWidth, int canvasHeight) {
  if (!bitmap.alpha || bitmap.width <= 0 || bitmap.height <= 0) return {};
  const auto within = [](std::int64_t value, int last) {
    return static_cast<int>(std::clamp<std::int64_t>(value, 0, last));
  };
  return {within(bitmap.x, canvasWidth), within(bitmap.y, canvasHeight),
          within(std::int64_t{bitmap.x} + bitmap.width, canvasWidth),
          within(std::int64_t{bitmap.y} + bitmap.height, canvasHeight)};
}

/// Adds an area to a list of areas that do not overlap.
void addArea(std::vector<BitmapArea>& areas, BitmapArea added) {
  const auto mergeWith = [&](std::vector<BitmapArea>::iterator each) {
    added = added.united(*each);
    areas.erase(each);
  };
  while (true) {
    const auto other = std::find_if(areas.begin(), areas.end(),
                                    [&](const BitmapArea& each) { return each.overlaps(added); });
    if (other != areas.end()) {
      mergeWith(other);
    } else if (areas.size() == kBlendedImages) {
      mergeWith(std::min_element(areas.begin(), areas.end(), [&](const auto& one, const auto& two) {
        return added.united(one).pixels() - one.pixels() <
               added.united(two).pixels() - two.pixels();
      }));
    } else {
      areas.push_back(added);
      return;
    }
  }
}

std::uint32_t dividedBy255(std::uint32_t value) { return (value + 127) / 255; }

/// Puts a colour of the given opacity over a pixel that is not premultiplied.
std::uint32_t blendedPixel(std::uint32_t below, std::uint32_t color, std::uint32_t alpha) {
  const std::uint32_t alphaBelow = dividedBy255((below >> 24) * (255 - alpha));
  const std::uint32_t sum = alpha + alphaBelow;
  std::uint32_t result = sum << 24;
  for (unsigned shift = 0; shift < 24; shift += 8) {
    const std::uint32_t level =
        ((color >> shift & 0xff) * alpha + (below >> shift & 0xff) * alphaBelow + sum / 2) / sum;
    result |= level << shift;
  }
  return result;
}

void blendInto(CueImage& image, const AlphaBitmap& bitmap, const BitmapArea& area) {
  const std::uint32_t opacity = bitmap.color >> 24;
  const std::uint32_t color = bitmap.color & 0xffffff;
  const auto columns = static_cast<std::size_t>(area.right - area.left);
  for (int y = area.top; y < area.bottom; ++y) {
    const std::uint8_t* const source = bitmap.alpha +
                                       static_cast<std::size_t>(y - bitmap.y) * bitmap.stride +
                                       static_cast<std::size_t>(area.left - bitmap.x);
    std::uint32_t* const target =
        image.pixels.data() +
        static_cast<std::size_t>(y - image.y) * static_cast<std::size_t>(image.width) +
        static_cast<std::size_t>(area.left - image.x);
    for (std::size_t x = 0; x < columns; ++x) {
      const std::uint32_t alpha = dividedBy255(source[x] * opacity);
      if (alpha == 0) continue;
      target[x] = alpha == 255 || target[x] == 0 ? alpha << 24 | color
                                                 : blendedPixel(target[x], color, alpha);
    }
  }
}

}  // namespace

std::vector<CueImage> blend(std::span<const AlphaBitmap> bitmaps, int canvasWidth,
                            int canvasHeight) {
  std::vector<std::pair<const AlphaBitmap*, BitmapArea>> visible;
  std::vector<BitmapArea> areas;
  std::size_t pixels = 0;
  for (const AlphaBitmap& each : bitmaps) {
    const BitmapArea area = visibleArea(each, canvasWidth, canvasHeight);
    if (area.isEmpty() || each.color >> 24 == 0) continue;
    pixels += area.pixels();
    if (pixels > kBlendedPixels) break;
    visible.emplace_back(&each, area);
    addArea(areas, area);
  }
  std::vector<CueImage> images;
  images.reserve(areas.size());
  for (const BitmapArea& area : areas)
    images.push_back({.canvasWidth = canvasWidth,
                      .canvasHeight = canvasHeight,
                      .x = area.left,
                      .y = area.top,
                      .width = area.right - area.left,
                      .height = area.bottom - area.top,
                      .pixels = std::vector<std::uint32_t>(area.pixels())});
  for (const auto& [bitmap, area] : visible)
    for (std::size_t index = 0; index < areas.size(); ++index)
      if (areas[index].overlaps(area)) blendInto(images[index], *bitmap, area);
  return images;
}

}  // namespace media
