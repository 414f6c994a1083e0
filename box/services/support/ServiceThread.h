#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"

namespace box {

/// A thread with a task queue, timers and polled descriptors. It serves the message buses and other
/// system services.
///
/// Workflow: construct, add tasks, start(), and stop() before the objects that the tasks and
/// sources use are destroyed. The thread sleeps without a timeout while it has nothing to do.
///
/// Threads: async() is thread-safe; start() and stop() belong to the constructing thread; the rest
/// to the thread itself, or to any while it does not run.
class ServiceThread {
 public:
  /// A descriptor to poll. All functions are called on the thread.
  class Source {
   public:
    virtual ~Source() = default;
    /// -1: only the deadline is used.
    virtual int descriptor() const = 0;
    virtual short interest() const = 0;
    /// When serve() must be called at the latest.
    virtual std::optional<platform::TimePoint> deadline() const { return std::nullopt; }
    /// Called when the descriptor is ready or the deadline has passed. May remove this and other
    /// sources.
    virtual void serve() = 0;
  };

  ServiceThread();
  ~ServiceThread();
  ServiceThread(const ServiceThread&) = delete;
  ServiceThread& operator=(const ServiceThread&) = delete;

  void start();
  /// Runs the tasks that are already queued, then joins the thread. Later tasks never run. May be
  /// called twice.
  void stop();

  void async(std::function<void()> task) { _queue->async(std::move(task)); }
  platform::Token after(platform::Duration delay, std::function<void()> task) {
    return _queue->after(delay, std::move(task));
  }
  bool isCurrent() const { return _queue->isCurrent(); }

  /// Polls the source until the token is dropped. `source` must outlive the token.
  platform::Token add(Source& source);

 private:
  class Poll;

  platform::SystemClock _clock;
  const std::shared_ptr<Poll> _poll;
  const std::shared_ptr<platform::MainQueue> _queue;
  std::thread _thread;
};

}  // namespace box
