#pragma once

#include <mutex>

#include "platform/foundation/queues/Clock.h"

namespace media {

/// The position of an item, read for the price of a lock: a known point and the rate at which time
/// has run since. Whoever learns the real position corrects it.
///
/// Threads: any.
class PositionClock {
 public:
  explicit PositionClock(const platform::Clock& clock) : _clock(clock) {}

  /// Time stands still at `seconds`.
  void hold(double seconds);
  /// Time runs from `seconds` at `rate`, never beyond `first` and `last`.
  void run(double seconds, double rate, double first, double last);
  /// A picture of this time has just become due. Ignored while time stands still.
  void observe(double seconds);

  double seconds() const;
  /// How old the newest known point is; zero while time stands still.
  platform::Duration age() const;

 private:
  const platform::Clock& _clock;
  mutable std::mutex _mutex;
  bool _running = false;
  double _seconds = 0;
  double _rate = 1;
  double _first = 0;
  double _last = 0;
  platform::TimePoint _at{};
};

}  // namespace media
