#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/ui/Geometry.h"

namespace box {

struct ScreenOptions {
  /// Over the whole display, in the display's own mode.
  bool fullscreen = true;
  /// Of a window that is not fullscreen, and of the picture where there is no display, in pixels.
  std::optional<platform::Size> windowedSize;
  std::string title = "TVVorlane";
};

/// What drawing has cost since the process began.
struct FrameStatistics {
  std::uint64_t frames = 0;
  double averageMilliseconds = 0;  ///< of a frame, with its present
  double longestMilliseconds = 0;
};

}  // namespace box
