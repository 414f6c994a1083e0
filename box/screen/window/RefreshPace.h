#pragma once

#include <algorithm>
#include <optional>

#include "platform/foundation/queues/Clock.h"

namespace box {

/// When a frame is drawn: at once, unless one was drawn within about a refresh of the display
/// before. What changes twice within a refresh is so drawn once. What comes from outside at the
/// display's own rate is drawn as it comes: it may be early by a quarter, so that a wait that was
/// forced on it once is made good by the next ones.
class RefreshPace {
 public:
  enum class Reason { Change, Animation };

  RefreshPace() = default;
  /// Zero: every frame at once.
  explicit RefreshPace(platform::Duration interval) : _interval(interval) {}

  /// `now`, or the next time at which a frame may be drawn.
  platform::TimePoint earliest(platform::TimePoint now, Reason reason) const {
    if (!_last) return now;
    const bool exactly = reason == Reason::Animation;
    return std::max(now, *_last + (exactly ? _interval : _interval * 3 / 4));
  }
  /// A frame whose drawing has begun at that time.
  void drawn(platform::TimePoint at) { _last = at; }

 private:
  platform::Duration _interval{};
  std::optional<platform::TimePoint> _last;
};

}  // namespace box
