#pragma once

#include <algorithm>
#include <chrono>

#include "platform/foundation/queues/Clock.h"

namespace box {

/// When to try something again that fails: after a quarter of a second, and after twice the time
/// with each failure, up to 4 s.
class RetryDelay {
 public:
  explicit RetryDelay(platform::TimePoint now) : _time(now + _delay) {}

  platform::TimePoint time() const { return _time; }
  void failed(platform::TimePoint now) {
    _delay = std::min<platform::Duration>(2 * _delay, kLongest);
    _time = now + _delay;
  }

 private:
  static constexpr std::chrono::seconds kLongest{4};

  platform::Duration _delay = std::chrono::milliseconds(250);
  platform::TimePoint _time;
};

}  // namespace box
