#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "frames/vorlane-frames.h"

namespace vorlanectl {

/// A source of pictures for a mirrored screen. Not thread-safe.
class PictureSource {
 public:
  virtual ~PictureSource() = default;

  std::uint32_t format = VORLANE_FRAMES_NV12;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  double rate = 60;         ///< pictures per second
  std::uint32_t flags = 0;  ///< flags of vorlane_frames_picture

  /// Writes the next picture into a buffer of this format and size. Returns false at the end.
  virtual bool fill(const vorlane_frames_buffer& buffer) = 0;
  /// Skips the next picture. Returns false at the end.
  virtual bool skip() = 0;
};

/// Color bars that move to the left, under a white line that moves down. NV12, endless. Throws
/// UsageError if the size is too large for a buffer.
std::unique_ptr<PictureSource> makeTestPattern(std::uint32_t width, std::uint32_t height,
                                               double rate);

/// Reads Y4M with 4:2:0 and 8 bits. `-` is stdin. Throws CallError if the file is unreadable or has
/// another format. An incomplete last picture is ignored.
std::unique_ptr<PictureSource> openY4m(const std::string& file);

}  // namespace vorlanectl
