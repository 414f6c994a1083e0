#pragma once

#include <optional>

#include "platform/foundation/queues/Clock.h"

namespace platform {

/// Computes the steps of a run of quick Left or Right presses: two steps of 10 s, two of 30 s, then
/// 60 s each. A change of direction starts again with 10 s.
class SkipRun {
 public:
  /// The longest time between two presses of a run.
  static constexpr Duration kGap = std::chrono::seconds(1);

  /// The seconds to skip for a press at `now`. `direction` is -1 or 1.
  double press(int direction, TimePoint now);
  bool continues(int direction, TimePoint now) const {
    return isActive(now) && direction == _direction;
  }
  bool isActive(TimePoint now) const { return _last && now < *_last + kGap; }
  void end() { _last.reset(); }

 private:
  std::optional<TimePoint> _last;
  int _direction = 0;
  int _presses = 0;
};

}  // namespace platform
