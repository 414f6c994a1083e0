#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace frames {

/// A plane of `rows` rows with `rowBytes` bytes each.
struct PlaneShape {
  std::size_t rowBytes = 0;
  std::size_t rows = 0;
};

/// The planes of a picture with a given format and size.
struct PictureShape {
  std::array<PlaneShape, 3> planes;
  std::size_t planeCount = 0;
};

/// Returns nothing for an unknown format, and for a width or height of 0 or above the maximum.
std::optional<PictureShape> shapeOf(std::uint32_t format, std::uint32_t width,
                                    std::uint32_t height);

/// Offsets and strides of the planes within a buffer.
struct FrameLayout {
  std::array<std::uint32_t, 3> offsets{};
  std::array<std::uint32_t, 3> strides{};
};

/// Returns the layout that FrameWriter uses: consecutive planes, with strides that are multiples of
/// 64 bytes. Sets `bytes` to the required buffer size. Returns nothing if that exceeds the maximum.
std::optional<FrameLayout> layoutFor(const PictureShape& shape, std::size_t* bytes);

/// Returns whether all planes are inside a buffer of `bytes`, each stride is at least a row, and
/// the entries of unused planes are 0.
bool fits(const PictureShape& shape, const FrameLayout& layout, std::size_t bytes);

}  // namespace frames
