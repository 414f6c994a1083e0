#pragma once

#include "platform/foundation/Clock.h"

namespace box {

/// When a frame is drawn: at once, unless one was drawn in the same refresh of the display, and
/// then with the next. What changes twice within a refresh is so drawn once, and what comes a
/// little early or late is neither lost nor late by more than a refresh.
///
/// The refreshes are counted on the clock where nothing tells of the display's own.
class RefreshPace {
 public:
  RefreshPace() = default;
  /// Zero: every frame at once.
  explicit RefreshPace(platform::Duration interval) : _interval(interval) {}

  /// `now`, or the next time at which a frame may be drawn.
  platform::TimePoint earliest(platform::TimePoint now) const {
    if (_interval <= platform::Duration::zero() || _refreshOf(now) != _last) return now;
    return platform::TimePoint((_last + 1) * _interval);
  }
  /// A frame whose drawing has begun at that time.
  void drawn(platform::TimePoint at) {
    if (_interval > platform::Duration::zero()) _last = _refreshOf(at);
  }

 private:
  platform::Duration::rep _refreshOf(platform::TimePoint time) const {
    return time.time_since_epoch() / _interval;
  }

  platform::Duration _interval{};
  platform::Duration::rep _last = -1;
};

}  // namespace box
