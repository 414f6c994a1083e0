#pragma once

#include <optional>

#include "platform/foundation/queues/Clock.h"

namespace platform {

/// Presses of left and right that follow each other quickly: the further such a run goes, the
/// longer are its steps. Two of 10 s, two of 30 s, then 60 s each; another direction begins with
/// 10 s again.
class SkipRun {
 public:
  /// So long after a press the next one still belongs to the run.
  static constexpr Duration kGap = std::chrono::seconds(1);

  /// Seconds to skip for a press at `now`; `direction` is -1 or 1.
  double press(int direction, TimePoint now);
  /// Whether a press at `now` would not begin a run.
  bool continues(int direction, TimePoint now) const {
    return isOpen(now) && direction == _direction;
  }
  bool isOpen(TimePoint now) const { return _last && now < *_last + kGap; }
  void end() { _last.reset(); }

 private:
  std::optional<TimePoint> _last;
  int _direction = 0;
  int _presses = 0;
};

}  // namespace platform
