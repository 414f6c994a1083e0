#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"

namespace box {

/// The one thread that serves the message buses and whatever else of the surroundings has a
/// descriptor to wait for: tasks and timers of its own, and sources that it polls.
///
/// Workflow: made, given tasks, started; stop() before what the tasks and sources use goes away.
/// With nothing to do it sleeps without a timeout.
///
/// Threads: async() on any; start() and stop() on the one that made it; the rest on the thread
/// itself, or while it does not run.
class ServiceThread {
 public:
  /// Something to poll. Called on the thread.
  class Source {
   public:
    virtual ~Source() = default;
    /// -1: nothing to wait for but the deadline.
    virtual int descriptor() const = 0;
    /// The poll events to wait for.
    virtual short interest() const = 0;
    /// When it is to be served at the latest.
    virtual std::optional<platform::TimePoint> deadline() const { return std::nullopt; }
    /// There is something to do. May remove this source and others.
    virtual void serve() = 0;
  };

  ServiceThread();
  ~ServiceThread();
  ServiceThread(const ServiceThread&) = delete;
  ServiceThread& operator=(const ServiceThread&) = delete;

  void start();
  /// Runs what was posted before and joins. What is posted later never runs. Safe to call twice.
  void stop();

  void async(std::function<void()> task) { _queue->async(std::move(task)); }
  platform::Token after(platform::Duration delay, std::function<void()> task) {
    return _queue->after(delay, std::move(task));
  }
  bool isCurrent() const { return _queue->isCurrent(); }

  /// Polled until the token is dropped, which `source` outlives.
  platform::Token add(Source& source);

 private:
  class Poll;

  platform::SystemClock _clock;
  const std::shared_ptr<Poll> _poll;
  const std::shared_ptr<platform::MainQueue> _queue;
  std::thread _thread;
};

}  // namespace box
