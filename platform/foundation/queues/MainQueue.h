#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/foundation/Token.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Waiter.h"

namespace platform {

/// The event loop of the main thread. Tasks run in order of posting, timers in order of their
/// deadlines (equal deadlines in order of creation).
///
/// The queue runs in turns: first the tasks that were posted before the turn, then the timers that
/// are due. A task that is posted by a task runs in a later turn. A task is destroyed on the main
/// thread right after it has run. An exception from an async() task or a timer propagates out of
/// run() or runDue() and leaves the rest of the queue unchanged.
///
/// Threads: created on any thread. The first thread that calls run(), runDue(), waitForWork() or
/// bindToCurrentThread() becomes the main thread.
///
/// Lifetime: threads that post must keep the queue alive. Tokens may outlive it.
class MainQueue {
 public:
  MainQueue(const Clock& clock, std::shared_ptr<Waiter> waiter);
  ~MainQueue();
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;

  /// Any thread. After stop() the task is queued, but only runDue() runs it.
  void async(std::function<void()> task);
  /// Runs `task` on the main thread and waits for it without a time limit. Only from other threads
  /// (asserted). Rethrows an exception of the task. Returns false without running the task if
  /// stop() was called before the task began.
  ///
  /// A SerialQueue whose thread waits here changes to Blocked when the task is posted, and back to
  /// Running before the main thread continues. Tests rely on this order: if they read Blocked and
  /// runDue() then runs nothing, the queue waits for something other than the main queue.
  bool sync(const std::function<void()>& task);
  /// Runs `task` once after `delay`. Destroying the token on the main thread cancels it. Any
  /// thread.
  Token after(Duration delay, std::function<void()> task);

  /// Whether the caller is on the main thread. False while no thread is bound.
  bool isCurrent() const;
  /// Makes the calling thread the main thread without running anything.
  void bindToCurrentThread();

  void run();
  /// Makes run() return after it has run the tasks that are already posted. Cancels the sync()
  /// calls whose tasks have not begun. Any thread.
  void stop();
  /// Calls stop(), then destroys the remaining tasks and timers on the calling thread without
  /// running them. An owner calls it in its destructor while the objects that tasks and timers
  /// capture may still use the owner. The destructor of the queue does the same.
  void discard();
  /// Runs tasks and due timers until there are none, including tasks that are posted meanwhile.
  /// Returns whether anything ran.
  bool runDue();
  /// Sleeps until there may be something to run, `limit` at the latest. For a custom loop around
  /// runDue().
  void waitForWork(std::optional<TimePoint> limit = std::nullopt);
  std::optional<TimePoint> nextDeadline() const;
  /// Ends a waitForWork() in progress. Any thread.
  void wake();

 private:
  struct Impl;
  std::shared_ptr<Impl> _impl;
};

}  // namespace platform
