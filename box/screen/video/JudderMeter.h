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
  const void* video = nullptr;  ///< identifies the video
  double due = -1;              ///< as in media::VideoFrame
  std::uint64_t missed = 0;     ///< dropped pictures since the last presented one
};

/// Measures judder: the deviation of the interval between presented pictures from its nominal
/// value. A long interval on either clock (a pause, seek or stall) is not counted. Threads: not
/// thread-safe.
class JudderMeter {
 public:
  /// Number of latest intervals in the statistics.
  static constexpr std::size_t kSteps = 1000;
  static constexpr double kMaxStepSeconds = 0.5;  ///< seconds

  /// `refresh`: the refresh interval of the display.
  void record(const ShownPicture& picture, platform::TimePoint at, platform::Duration refresh);
  JudderStatistics statistics() const;

 private:
  std::optional<ShownPicture> _last;
  platform::TimePoint _lastAt{};
  std::uint64_t _pictures = 0;
  std::uint64_t _dropped = 0;
  std::uint64_t _repeated = 0;
  std::vector<double> _deviations;  // milliseconds; a ring buffer once it is full
  std::size_t _next = 0;
};

}  // namespace box
