#pragma once

#include <chrono>

#include "platform/foundation/Date.h"

namespace platform {

using Duration = std::chrono::nanoseconds;
/// Time since an epoch of the clock's own; never runs backwards.
using TimePoint = std::chrono::time_point<std::chrono::steady_clock, Duration>;

/// Where everything gets its time from. Passed in by reference, never a global, so that tests own
/// it. Threads: any.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual TimePoint now() const = 0;
  virtual Date date() const = 0;
};

/// The machine's clocks.
class SystemClock final : public Clock {
 public:
  TimePoint now() const override;
  Date date() const override;
};

/// Seconds as a Duration; saturates, NaN is zero.
Duration durationFromSeconds(double seconds);
double secondsFromDuration(Duration duration);

}  // namespace platform
