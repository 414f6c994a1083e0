#include "frames/FrameLayout.h"

#include "frames/vorlane-frames.h"

namespace frames {

namespace {
constexpr std::size_t kRowAlignment = 64;
}  // namespace

std::optional<PictureShape> shapeOf(std::uint32_t format, std::uint32_t width,
                                    std::uint32_t height) {
  if (width == 0 || height == 0 || width > VORLANE_FRAMES_MAXIMUM_SIZE ||
      height > VORLANE_FRAMES_MAXIMUM_SIZE) {
    return std::nullopt;
  }
  const std::size_t columns = width;
  const std::size_t rows = height;
  const std::size_t halfColumns = (columns + 1) / 2;
  const std::size_t halfRows = (rows + 1) / 2;
  PictureShape shape;
  switch (format) {
    case VORLANE_FRAMES_NV12:
      shape.planes = {PlaneShape{columns, rows}, PlaneShape{2 * halfColumns, halfRows}, {}};
      shape.planeCount = 2;
      return shape;
    case VORLANE_FRAMES_I420:
      shape.planes = {PlaneShape{columns, rows}, PlaneShape{halfColumns, halfRows},
                      PlaneShape{halfColumns, halfRows}};
      shape.planeCount = 3;
      return shape;
    case VORLANE_FRAMES_BGRA:
      shape.planes = {PlaneShape{4 * columns, rows}, {}, {}};
      shape.planeCount = 1;
      return shape;
    default:
      return std::nullopt;
  }
}

std::optional<FrameLayout> layoutFor(const PictureShape& shape, std::size_t* bytes) {
  FrameLayout layout;
  std::size_t end = 0;
  for (std::size_t plane = 0; plane < shape.planeCount; ++plane) {
    const std::size_t row = shape.planes[plane].rowBytes;
    const std::size_t stride = (row + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    layout.offsets[plane] = static_cast<std::uint32_t>(end);
    layout.strides[plane] = static_cast<std::uint32_t>(stride);
    end += stride * shape.planes[plane].rows;
    if (end > VORLANE_FRAMES_MAXIMUM_BYTES) return std::nullopt;
  }
  *bytes = end;
  return layout;
}

bool fits(const PictureShape& shape, const FrameLayout& layout, std::size_t bytes) {
  for (std::size_t plane = 0; plane < layout.offsets.size(); ++plane) {
    const std::uint64_t offset = layout.offsets[plane];
    const std::uint64_t stride = layout.strides[plane];
    if (plane >= shape.planeCount) {
      if (offset != 0 || stride != 0) return false;
      continue;
    }
    const PlaneShape& needed = shape.planes[plane];
    // The last row needs no full stride. The product of 32-bit factors fits into 64 bits.
    if (stride < needed.rowBytes) return false;
    const std::uint64_t end = offset + stride * (needed.rows - 1) + needed.rowBytes;
    if (end > bytes) return false;
  }
  return true;
}

}  // namespace frames
