#include "platform/foundation/queues/Waiter.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace platform {

namespace {
// The standard library adds the duration to the current time, which overflows for huge values. A
// shorter wait is allowed, because wait() may return early.
constexpr Duration kLongestWait = std::chrono::hours(24);

// Calls often follow each other within microseconds. A short spin, as in std::atomic::wait(), costs
// less than to sleep and to be woken.
constexpr int kSpins = 12;
constexpr int kYieldingSpins = 4;
}  // namespace

ConditionWaiter::ConditionWaiter(const Clock& clock, bool realTime)
    : _clock(clock), _realTime(realTime) {}

void ConditionWaiter::wait(std::optional<TimePoint> deadline) {
  const auto woken = [this] { return _woken.load(std::memory_order_relaxed); };
  for (int spin = 0; spin < kSpins + kYieldingSpins && !woken(); ++spin)
    if (spin >= kSpins) std::this_thread::yield();
  std::unique_lock lock(_mutex);
  if (deadline && _realTime && !_woken) {
    const TimePoint now = _clock.now();
    if (*deadline > now) {
      const bool far =
          deadline->time_since_epoch() >= TimePoint::max().time_since_epoch() - kLongestWait;
      _condition.wait_for(
          lock, far ? kLongestWait : std::min<Duration>(*deadline - now, kLongestWait), woken);
    }
  } else {
    _condition.wait(lock, woken);
  }
  _woken = false;
}

void ConditionWaiter::wake() {
  {
    const std::lock_guard lock(_mutex);
    _woken = true;
  }
  _condition.notify_one();
}

}  // namespace platform
