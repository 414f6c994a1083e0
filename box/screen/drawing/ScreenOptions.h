#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/ui/scene/Geometry.h"

namespace box {

/// Accessibility options.
struct AccessOptions {
  double textSize = 1;  ///< 1 to 1.5 times the usual size
  bool reducedMotion = false;
};

struct ScreenOptions {
  /// Cover the whole display in its current mode.
  bool fullscreen = true;
  /// Size in pixels of a window that is not fullscreen, or of the surface without a display.
  std::optional<platform::Size> windowedSize;
  std::string title = "TVVorlane";
  AccessOptions access = {};
  /// Locale name of the user interface.
  std::string language = {};
};

/// How evenly pictures of videos and layers were presented since the start of the process.
struct JudderStatistics {
  std::uint64_t pictures = 0;  ///< presented
  std::uint64_t dropped = 0;   ///< replaced by the next one before they were drawn
  std::uint64_t repeated = 0;  ///< refreshes that showed the previous picture too long
  /// Deviation of the interval between pictures from its nominal value, over the last thousand
  /// intervals: the average, and the 99th percentile.
  double averageMilliseconds = 0;
  double percentile99Milliseconds = 0;
};

/// Cost of drawing since the start of the process.
struct FrameStatistics {
  std::uint64_t frames = 0;
  double averageMilliseconds = 0;  ///< per frame, including present
  double longestMilliseconds = 0;
  JudderStatistics judder = {};
};

}  // namespace box
