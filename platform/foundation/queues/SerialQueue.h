#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/foundation/queues/Waiter.h"

namespace platform {

/// A serial queue with a thread of its own.
///
/// Destruction runs what was posted before and joins the thread; it must not happen on that thread.
class SerialQueue {
 public:
  /// What its thread does; for tests that must know when nothing more will happen by itself.
  enum class State {
    Idle,     ///< nothing posted, thread asleep
    Running,  ///< a task runs, or is posted
    Blocked,  ///< the running task waits in a WaitGroup or in MainQueue::sync
  };

  explicit SerialQueue(std::string label);
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  const std::string& label() const;
  /// Any thread. A task must not throw; it is destroyed right after it ran.
  void async(std::function<void()> task);
  /// From another thread only (asserted). Unbounded. What the task throws is rethrown here.
  void sync(const std::function<void()>& task);
  bool isCurrent() const;
  /// Replaces how the thread sleeps: a service that hands its work to this queue polls its
  /// descriptors on the queue's own thread that way. Null restores the condition variable. Returns
  /// when the old waiter is out of use (immediately, when called on the queue's thread).
  void setWaiter(std::shared_ptr<Waiter> waiter);

  State state() const;
  /// Called on the thread that changes the state, without a lock held. One observer; null removes
  /// it, and a call that has begun on another thread may then still be under way.
  void setStateObserver(std::function<void()> observer);

  /// The queue whose thread this is, or null.
  static SerialQueue* current();

 private:
  friend class MainQueue;
  friend class WaitGroup;
  using Observer = std::shared_ptr<const std::function<void()>>;

  /// Marks the running task as waiting or not. Calls nobody, takes no lock: the caller may hold its
  /// own, and calls the result (which may be null) after it has let go of that.
  Observer _setBlocked(bool blocked);

  struct Impl;
  std::unique_ptr<Impl> _impl;
};

}  // namespace platform
