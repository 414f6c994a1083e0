#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/foundation/queues/Waiter.h"

namespace platform {

/// A serial task queue with its own thread.
///
/// The destructor runs the remaining tasks and joins the thread. It must not run on that thread
/// (asserted).
class SerialQueue {
 public:
  /// The state of the thread. Tests use it to detect that nothing more will happen by itself.
  enum class State {
    Idle,     ///< no task is queued or running
    Running,  ///< a task is queued or running
    Blocked,  ///< the running task waits in WaitGroup::wait() or MainQueue::sync()
  };

  /// Throws std::system_error if the thread cannot be started.
  explicit SerialQueue(std::string label);
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  const std::string& label() const;
  /// Any thread. The task must not throw. It is destroyed right after it has run.
  void async(std::function<void()> task);
  /// Runs `task` on the queue and waits for it without a time limit. Only from other threads
  /// (asserted). Rethrows an exception of the task.
  void sync(const std::function<void()>& task);
  bool isCurrent() const;
  /// Replaces the waiter on which the thread sleeps. With its own waiter a service can poll file
  /// descriptors on this thread. Null restores the condition variable. Returns when the old waiter
  /// is no longer in use (immediately on the thread of the queue).
  void setWaiter(std::shared_ptr<Waiter> waiter);

  State state() const;
  /// `observer` is called on the thread that changes the state, without a lock held. Null removes
  /// it; a call in progress on another thread is not waited for.
  void setStateObserver(std::function<void()> observer);

  /// The queue of the calling thread, or null.
  static SerialQueue* current();

 private:
  friend class MainQueue;
  friend class WaitGroup;
  using Observer = std::shared_ptr<const std::function<void()>>;

  /// Sets whether the running task is blocked. May be called with a lock held. The caller must call
  /// the returned observer, which may be null, after it has released the lock.
  Observer _setBlocked(bool blocked);

  struct Impl;
  std::unique_ptr<Impl> _impl;
};

}  // namespace platform
