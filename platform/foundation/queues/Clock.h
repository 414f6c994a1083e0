#pragma once

#include <chrono>

#include "platform/foundation/Date.h"

namespace platform {

using Duration = std::chrono::nanoseconds;
/// Monotonic time. The epoch depends on the clock.
using TimePoint = std::chrono::time_point<std::chrono::steady_clock, Duration>;

/// The source of time. It is passed by reference and never global, so that tests can replace it.
/// Threads: any.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual TimePoint now() const = 0;
  virtual Date date() const = 0;
};

class SystemClock final : public Clock {
 public:
  TimePoint now() const override;
  Date date() const override;
};

/// Saturates. NaN becomes zero.
Duration durationFromSeconds(double seconds);
double secondsFromDuration(Duration duration);

}  // namespace platform
