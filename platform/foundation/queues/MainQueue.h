#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/foundation/Token.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Waiter.h"

namespace platform {

/// The queue of the main thread: tasks in order of posting, timers in order of their deadlines
/// (equal deadlines in order of posting). A task posted by a task runs in a later turn.
///
/// Workflow: made on any thread; the thread that calls run() or runDue() first becomes the main
/// thread. In a turn the tasks run first, then the timers that are due. A task is destroyed right
/// after it ran, on the main thread. What an async() task or a timer throws leaves run() or
/// runDue(); the rest of the queue stays as it is.
///
/// Lifetime: whoever may still post keeps the queue alive; tokens may outlive it.
class MainQueue {
 public:
  MainQueue(const Clock& clock, std::shared_ptr<Waiter> waiter);
  ~MainQueue();
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;

  /// Any thread. After stop() the task is kept, and runs only if somebody calls runDue().
  void async(std::function<void()> task);
  /// From another thread only (asserted). Returns when the task has run. Unbounded. An exception
  /// that the task throws is rethrown here. Where the queue has stopped, and after stop(), the task
  /// is not run and the result is false.
  ///
  /// A SerialQueue whose thread waits here is Blocked from the moment the task is posted, and
  /// Running again before the main thread goes on. So a loop that reads the queue's state first and
  /// then calls runDue() knows, if that ran nothing, whether the queue waits for something else.
  bool sync(const std::function<void()>& task);
  /// Runs `task` once, `delay` from now, unless the token is dropped first (on the main thread).
  /// Any thread may call.
  Token after(Duration delay, std::function<void()> task);

  /// Whether the caller is on the main thread. Never lies, in tests too. Before a thread is bound:
  /// false.
  bool isCurrent() const;
  /// Makes the calling thread the main thread without running anything.
  void bindToCurrentThread();

  /// Runs tasks and timers until stop().
  void run();
  /// Any thread. What was posted before still runs; run() then returns. Blocked sync() calls
  /// return: true when the task has begun, which is waited for, else false, and it will not run.
  void stop();
  /// Stops it, and destroys what is left without running it, on the calling thread: for an owner
  /// that ends while what tasks and timers hold may still need it. The destructor does the same.
  void discard();
  /// Runs what is due now, tasks posted meanwhile included, and returns whether anything ran.
  bool runDue();
  /// Sleeps until something may be due; for a loop of the caller's own around runDue(). `limit`: at
  /// most until then.
  void waitForWork(std::optional<TimePoint> limit = std::nullopt);
  /// When the next timer is due.
  std::optional<TimePoint> nextDeadline() const;
  /// Ends a waitForWork() in progress. Any thread.
  void wake();

 private:
  struct Impl;
  std::shared_ptr<Impl> _impl;
};

}  // namespace platform
