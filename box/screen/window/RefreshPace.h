#pragma once

#include <algorithm>
#include <optional>

#include "platform/foundation/queues/Clock.h"

namespace box {

/// Limits drawing to about one frame per refresh of the display, so that several changes within a
/// refresh are drawn once. Frames for changes may come up to a quarter of the interval early, so
/// that a source at the display's own rate recovers after a delayed frame.
class RefreshPace {
 public:
  enum class Reason { Change, Animation };

  RefreshPace() = default;
  /// Zero: no limit.
  explicit RefreshPace(platform::Duration interval) : _interval(interval) {}

  /// Returns `now`, or the next time when a frame may be drawn.
  platform::TimePoint earliest(platform::TimePoint now, Reason reason) const {
    if (!_last) return now;
    const bool exactly = reason == Reason::Animation;
    return std::max(now, *_last + (exactly ? _interval : _interval * 3 / 4));
  }
  /// Call it with the time when drawing of a frame began.
  void drawn(platform::TimePoint at) { _last = at; }

 private:
  platform::Duration _interval{};
  std::optional<platform::TimePoint> _last;
};

}  // namespace box
