#pragma once

#include <functional>
#include <mutex>
#include <utility>

#include "platform/foundation/queues/Clock.h"

namespace media {

/// The position of an item, computed from a known point and the rate since then. Reading it takes a
/// lock only. The owner corrects it whenever the real position is known.
///
/// Threads: any.
class PositionClock {
 public:
  struct Point {
    bool running = false;
    double seconds = 0;
    double rate = 1;
    double first = 0;  ///< while running, the position stays in [first, last]
    double last = 0;
    platform::TimePoint at{};  ///< while running: when the position was `seconds`
  };

  /// `changed` may be empty. hold(), run() and correct() call it after their change.
  explicit PositionClock(const platform::Clock& clock, std::function<void()> changed = {})
      : _clock(clock), _changed(std::move(changed)) {}

  void hold(double seconds);
  /// Runs from `seconds` at `rate`; the position stays within `first` and `last`.
  void run(double seconds, double rate, double first, double last);
  /// Sets the position to `seconds`, as a picture that has just become due tells it. Ignored while
  /// stopped.
  void observe(double seconds);
  /// Sets the position to `seconds`, such as the position that the pipeline reports.
  void correct(double seconds);
  /// Takes over the point of another clock.
  void set(const Point& point);
  Point point() const;

  double seconds() const;
  /// Returns the age of the newest known point; zero while stopped.
  platform::Duration age() const;

 private:
  const platform::Clock& _clock;
  const std::function<void()> _changed;
  mutable std::mutex _mutex;
  Point _point;
};

}  // namespace media
