#include "platform/foundation/queues/Clock.h"

#include <cmath>

namespace platform {

namespace {
constexpr double kNanosecondsPerSecond = 1e9;
}

TimePoint SystemClock::now() const { return std::chrono::steady_clock::now(); }

Date SystemClock::date() const {
  return {
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count()};
}

Duration durationFromSeconds(double seconds) {
  if (std::isnan(seconds)) return Duration::zero();
  const double nanoseconds = std::round(seconds * kNanosecondsPerSecond);
  // 2^63, the first double outside the range of int64.
  constexpr double kLimit = 9223372036854775808.0;
  if (nanoseconds >= kLimit) return Duration::max();
  if (nanoseconds < -kLimit) return Duration::min();
  return Duration(static_cast<Duration::rep>(nanoseconds));
}

double secondsFromDuration(Duration duration) {
  return std::chrono::duration<double>(duration).count();
}

}  // namespace platform
