#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>

#include "platform/foundation/queues/Clock.h"

namespace platform {

/// The way in which the thread of a queue sleeps. The default is a condition variable. A thread
/// that also handles file descriptors or window events has a waiter that waits for those, too.
class Waiter {
 public:
  virtual ~Waiter() = default;
  /// Sleeps until wake() is called, `deadline` has passed, or the waiter has handled one of its own
  /// events. Returns at once if wake() was called since the last wait(). May return early. Called
  /// on the thread of the queue without a lock held.
  virtual void wait(std::optional<TimePoint> deadline) = 0;
  /// Ends the wait() in progress, or makes the next one return at once. Any thread. Does not block.
  virtual void wake() = 0;
};

class ConditionWaiter final : public Waiter {
 public:
  /// If `realTime` is false, deadlines are ignored: a test advances the clock and calls wake().
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
