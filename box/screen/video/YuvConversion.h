#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "media/output/VideoFrames.h"

namespace box {

/// Converts YUV planes to RGB (native-endian 0xFFRRGGBB) with the matrix and range of the frame;
/// exact to one step of a channel. For software renderers, whose own conversion copies the planes
/// first and supports fewer matrices.
///
/// `frame` must be NV12 or I420 with valid planes. `pixels` has height times `pitch` bytes. Chroma
/// is not interpolated.
void convertToRgb(const media::VideoFrame& frame, std::uint8_t* pixels, std::size_t pitch);

/// Converts full-range planes to studio range, for renderers that support a matrix in studio range
/// only. Reuses its buffer.
class StudioRange {
 public:
  /// `frame` must be NV12 or I420. The planes are valid until the next call.
  const std::array<media::VideoPlane, 3>& convert(const media::VideoFrame& frame);

 private:
  std::vector<std::uint8_t> _bytes;
  std::array<media::VideoPlane, 3> _planes;
};

}  // namespace box
