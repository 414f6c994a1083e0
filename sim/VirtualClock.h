#pragma once

#include <atomic>

#include "platform/foundation/queues/Clock.h"

namespace sim {

/// A clock that moves only when told, so that a test decides what time it is.
///
/// It starts at 2026-01-01 00:00:00 UTC, with now() at zero; date() moves along with now(). It
/// wakes nobody: whoever moves it then runs what has become due.
///
/// Threads: any.
class VirtualClock final : public platform::Clock {
 public:
  /// 2026-01-01 00:00:00 UTC.
  static constexpr double kStartSeconds = 1'767'225'600;

  platform::TimePoint now() const override;
  platform::Date date() const override;

  /// `duration` must not be negative.
  void advance(platform::Duration duration);
  /// A time in the past leaves the clock alone.
  void advanceTo(platform::TimePoint time);

 private:
  std::atomic<platform::Duration::rep> _nanoseconds = 0;
};

}  // namespace sim
