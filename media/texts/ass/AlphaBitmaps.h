#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

/// A shape in one colour at a place on a canvas.
struct AlphaBitmap {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  std::size_t stride = 0;
  const std::uint8_t* alpha = nullptr;  ///< `height` rows, `stride` bytes apart
  std::uint32_t color = 0;              ///< 0xAARRGGBB; its alpha applies in addition
};

/// Blends the bitmaps in their order and returns images that do not overlap each other. Parts
/// outside of the canvas are cut off, so the images have at most as many pixels as the canvas.
///
/// Limit: kBlendedPixels pixels of bitmaps. Bitmaps beyond it are left out.
std::vector<CueImage> blend(std::span<const AlphaBitmap> bitmaps, int canvasWidth,
                            int canvasHeight);

inline constexpr std::size_t kBlendedPixels = std::size_t{64} << 20;

}  // namespace media
