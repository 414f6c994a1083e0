#pragma once

#include <functional>
#include <mutex>
#include <utility>

#include "platform/foundation/queues/Clock.h"

namespace media {

/// The position of an item, read for the price of a lock: a known point and the rate at which time
/// has run since. Whoever learns the real position corrects it.
///
/// Threads: any.
class PositionClock {
 public:
  struct Point {
    bool running = false;
    double seconds = 0;
    double rate = 1;
    double first = 0;  ///< while time runs, the position never leaves [first, last]
    double last = 0;
    platform::TimePoint at{};  ///< while time runs: when it was at `seconds`
  };

  /// `changed` is called after hold(), run() and correct(), on their thread; may be empty.
  explicit PositionClock(const platform::Clock& clock, std::function<void()> changed = {})
      : _clock(clock), _changed(std::move(changed)) {}

  /// Time stands still at `seconds`.
  void hold(double seconds);
  /// Time runs from `seconds` at `rate`, never beyond `first` and `last`.
  void run(double seconds, double rate, double first, double last);
  /// A picture of this time has just become due. Ignored while time stands still.
  void observe(double seconds);
  /// The same for a position that no picture tells.
  void correct(double seconds);
  /// As another clock has told it.
  void set(const Point& point);
  Point point() const;

  double seconds() const;
  /// How old the newest known point is; zero while time stands still.
  platform::Duration age() const;

 private:
  const platform::Clock& _clock;
  const std::function<void()> _changed;
  mutable std::mutex _mutex;
  Point _point;
};

}  // namespace media
