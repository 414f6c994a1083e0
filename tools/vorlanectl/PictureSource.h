#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "frames/vorlane-frames.h"

namespace vorlanectl {

/// Where the pictures of a mirrored screen come from. One thread.
class PictureSource {
 public:
  virtual ~PictureSource() = default;

  std::uint32_t format = VORLANE_FRAMES_NV12;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  double rate = 60;         ///< pictures a second
  std::uint32_t flags = 0;  ///< of vorlane_frames_picture

  /// Writes the next picture into a buffer of that format and size. False when there is none.
  virtual bool fill(const vorlane_frames_buffer& buffer) = 0;
  /// Leaves the next picture out. False when there is none.
  virtual bool skip() = 0;
};

/// Colour bars that wander to the left under a white line that falls, in NV12, without an end.
/// Throws UsageError when no buffer can hold the size.
std::unique_ptr<PictureSource> makeTestPattern(std::uint32_t width, std::uint32_t height,
                                               double rate);

/// Y4M in 4:2:0, 8 bits. `-` is the standard input. Throws CallError when the file cannot be read
/// or is something else; one that ends within a picture ends before it.
std::unique_ptr<PictureSource> openY4m(const std::string& file);

}  // namespace vorlanectl
