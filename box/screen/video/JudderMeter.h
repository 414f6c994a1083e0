#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "box/screen/drawing/ScreenOptions.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// A picture that was presented for the first time.
struct ShownPicture {
  const void* video = nullptr;  ///< only to tell them apart
  double due = -1;              ///< as in media::VideoFrame
  std::uint64_t missed = 0;     ///< pictures of the video since the last one shown
};

/// Measures how evenly pictures follow each other on screen: by how much the time from one to the
/// next differs from what it should be. What is far apart on either clock (a pause, a seek, a
/// stall) begins anew and counts as nothing.
///
/// Threads: one at a time.
class JudderMeter {
 public:
  /// Of the newest so many steps from picture to picture.
  static constexpr std::size_t kSteps = 1000;
  static constexpr double kLongestStep = 0.5;  ///< seconds

  /// `refresh` is the display's.
  void shown(const ShownPicture& picture, platform::TimePoint at, platform::Duration refresh);
  JudderStatistics statistics() const;

 private:
  std::optional<ShownPicture> _last;
  platform::TimePoint _lastAt{};
  std::uint64_t _pictures = 0;
  std::uint64_t _dropped = 0;
  std::uint64_t _repeated = 0;
  std::vector<double> _deviations;  // milliseconds, a ring once it is full
  std::size_t _next = 0;
};

}  // namespace box
