#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "media/output/VideoFrames.h"

namespace box {

/// Turns a decoder's planes into pixels (native-endian 0xFFRRGGBB) by the picture's own matrix and
/// range, exact to one step of a channel. For renderers that would convert by the processor
/// themselves: they copy the planes first, and know fewer kinds of colours.
///
/// `frame` is NV12 or I420, with planes of the size it promises; `pixels` holds its height times
/// `pitch` bytes. Chroma belongs to two by two pixels, without a filter.
void convertToRgb(const media::VideoFrame& frame, std::uint8_t* pixels, std::size_t pitch);

/// The planes of a full-range picture at studio levels, for renderers that know its matrix at those
/// only. Keeps its memory from picture to picture.
class StudioRange {
 public:
  /// `frame` is NV12 or I420. The planes are good until the next call.
  const std::array<media::VideoPlane, 3>& convert(const media::VideoFrame& frame);

 private:
  std::vector<std::uint8_t> _bytes;
  std::array<media::VideoPlane, 3> _planes;
};

}  // namespace box
