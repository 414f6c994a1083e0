#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/ui/scene/Geometry.h"

namespace box {

/// What the user needs to see well.
struct AccessOptions {
  double textSize = 1;  ///< 1 to 1.5 times the usual size
  /// Nothing turns, rises or fades.
  bool reducedMotion = false;
};

struct ScreenOptions {
  /// Over the whole display, in the display's own mode.
  bool fullscreen = true;
  /// Of a window that is not fullscreen, and of the picture where there is no display, in pixels.
  std::optional<platform::Size> windowedSize;
  std::string title = "TVVorlane";
  AccessOptions access = {};
  /// A locale's name, of the texts.
  std::string language = {};
};

/// How evenly the pictures of videos and layers came on screen since the process began.
struct JudderStatistics {
  std::uint64_t pictures = 0;  ///< presented
  std::uint64_t dropped = 0;   ///< due, and replaced by the next before they were drawn
  std::uint64_t repeated = 0;  ///< refreshes for which one stayed too long
  /// What a step from picture to picture was too long or too short by, of the newest thousand: on
  /// average, and at most for 99 % of them.
  double averageMilliseconds = 0;
  double mostMilliseconds = 0;
};

/// What drawing has cost since the process began.
struct FrameStatistics {
  std::uint64_t frames = 0;
  double averageMilliseconds = 0;  ///< of a frame, with its present
  double longestMilliseconds = 0;
  JudderStatistics judder = {};
};

}  // namespace box
