#include "platform/foundation/queues/Waiter.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace platform {

namespace {
// Waiting may end early, and a sum of "now" and a huge duration would overflow in the library.
constexpr Duration kLongestWait = std::chrono::hours(24);

// Calls often come in a row, the next one some microseconds after the answer to the last. Looking
// for it that long, as waiting on an atomic does, costs less than to sleep and be woken.
constexpr int kLooks = 12;
constexpr int kYieldingLooks = 4;
}  // namespace

ConditionWaiter::ConditionWaiter(const Clock& clock, bool realTime)
    : _clock(clock), _realTime(realTime) {}

void ConditionWaiter::wait(std::optional<TimePoint> deadline) {
  const auto woken = [this] { return _woken.load(std::memory_order_relaxed); };
  for (int look = 0; look < kLooks + kYieldingLooks && !woken(); ++look)
    if (look >= kLooks) std::this_thread::yield();
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
