#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace frames {

/// The shape of one plane: `rows` rows of `rowBytes` bytes.
struct PlaneShape {
  std::size_t rowBytes = 0;
  std::size_t rows = 0;
};

/// The planes of a picture of a format and size.
struct PictureShape {
  std::array<PlaneShape, 3> planes;
  std::size_t planeCount = 0;
};

/// Nothing for an unknown format, and for a size of 0 or beyond the largest.
std::optional<PictureShape> shapeOf(std::uint32_t format, std::uint32_t width,
                                    std::uint32_t height);

/// Where the planes of a picture lie in its buffer.
struct FrameLayout {
  std::array<std::uint32_t, 3> offsets{};
  std::array<std::uint32_t, 3> strides{};
};

/// The layout that writers of ours use: planes one behind the other, rows at multiples of 64 bytes.
/// `bytes` is what a buffer needs for it. Nothing when that is more than a buffer may have.
std::optional<FrameLayout> layoutFor(const PictureShape& shape, std::size_t* bytes);

/// Whether every byte of the planes lies inside a buffer of `bytes`, each stride holds its row, and
/// what the picture does not use is 0.
bool fits(const PictureShape& shape, const FrameLayout& layout, std::size_t bytes);

}  // namespace frames
