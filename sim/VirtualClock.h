#pragma once

#include <atomic>

#include "platform/foundation/queues/Clock.h"

namespace sim {

/// A clock that advances only when a test advances it.
///
/// Starts at 2026-01-01 00:00:00 UTC with now() at zero. date() advances with now(). Advancing runs
/// no timers: the caller runs what is due.
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
  /// Does nothing if `time` is in the past.
  void advanceTo(platform::TimePoint time);

 private:
  std::atomic<platform::Duration::rep> _nanoseconds = 0;
};

}  // namespace sim
