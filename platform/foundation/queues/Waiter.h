#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>

#include "platform/foundation/queues/Clock.h"

namespace platform {

/// How a queue's thread sleeps. A plain queue sleeps on a condition variable; one whose thread also
/// serves descriptors or window events brings a waiter that sleeps on those.
class Waiter {
 public:
  virtual ~Waiter() = default;
  /// Sleeps until wake() was called since the last wait() returned, until `deadline`, or, for a
  /// waiter with sources of its own, until it has served one. Called on the queue's thread without
  /// a lock; may return early. No deadline: unbounded.
  virtual void wait(std::optional<TimePoint> deadline) = 0;
  /// Ends a wait() in progress, or makes the next one return at once. Any thread; never blocks.
  virtual void wake() = 0;
};

class ConditionWaiter final : public Waiter {
 public:
  /// `realTime` false: deadlines are ignored, because only a test moves the clock and then wakes.
  explicit ConditionWaiter(const Clock& clock, bool realTime = true);
  void wait(std::optional<TimePoint> deadline) override;
  void wake() override;

 private:
  const Clock& _clock;
  const bool _realTime;
  std::mutex _mutex;
  std::condition_variable _condition;
  std::atomic<bool> _woken = false;  // written with the lock held
};

}  // namespace platform
