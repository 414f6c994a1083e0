#pragma once

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <optional>

#include "platform/foundation/queues/Clock.h"

namespace box {

/// Returns the time until `deadline` in milliseconds for poll() and epoll_wait(), or -1 without a
/// deadline. It is rounded up so that the call does not return too early.
inline int pollTimeoutUntil(std::optional<platform::TimePoint> deadline) {
  if (!deadline) return -1;
  const auto rest = *deadline - platform::SystemClock().now();
  if (rest <= platform::Duration::zero()) return 0;
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(rest).count();
  return static_cast<int>(std::min<std::int64_t>(milliseconds, INT_MAX));
}

}  // namespace box
