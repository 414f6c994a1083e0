#include "sim/VirtualClock.h"

#include "platform/foundation/Assertion.h"

namespace sim {

platform::TimePoint VirtualClock::now() const {
  return platform::TimePoint(platform::Duration(_nanoseconds));
}

platform::Date VirtualClock::date() const {
  return {kStartSeconds + platform::secondsFromDuration(now().time_since_epoch())};
}

void VirtualClock::advance(platform::Duration duration) {
  TVS_ASSERT(duration >= platform::Duration::zero());
  _nanoseconds += duration.count();
}

void VirtualClock::advanceTo(platform::TimePoint time) {
  const auto target = time.time_since_epoch().count();
  auto current = _nanoseconds.load();
  while (current < target && !_nanoseconds.compare_exchange_weak(current, target)) {
  }
}

}  // namespace sim
