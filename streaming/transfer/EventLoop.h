#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "streaming/transfer/Transfer.h"

namespace streaming {

/// Waits for sockets, times and posted tasks, and calls their handlers. It sleeps while there is
/// nothing to do. One thread runs it; post() and stop() are for any thread.
class EventLoop {
 public:
  EventLoop();
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  /// Returns after stop(), which may have been called before.
  void run();
  void stop();
  /// Calls `task` after the tasks that were posted before.
  void post(std::function<void()> task);
  /// Destroys tasks and timers without calling them. What is posted after it is destroyed at once,
  /// on the calling thread.
  void close();

  /// Destroying the handle cancels the call.
  std::shared_ptr<void> callAt(MonotonicTime when, std::function<void()> task);
  /// `ready` gets the events of epoll. It replaces the handler of that descriptor, and may watch
  /// and unwatch any.
  void watch(int descriptor, std::uint32_t events, std::function<void(std::uint32_t)> ready);
  void unwatch(int descriptor);

 private:
  using TimerKey = std::pair<MonotonicTime, std::uint64_t>;
  using Timers = std::map<TimerKey, std::function<void()>>;
  struct TimerHandle;
  struct Watch {
    std::uint32_t generation = 0;
    std::shared_ptr<std::function<void(std::uint32_t)>> ready;
  };

  int _waitMilliseconds() const;
  void _callTasks();
  void _callTimers();

  const int _epoll;
  const int _wakeup;
  std::mutex _mutex;  // guards the next three
  std::vector<std::function<void()>> _tasks;
  bool _isStopped = false;
  bool _isClosed = false;
  // Of the thread that runs it:
  const std::shared_ptr<Timers> _timers;
  std::uint64_t _timerCount = 0;
  std::unordered_map<int, Watch> _watches;
  std::uint32_t _generation = 0;
};

}  // namespace streaming
