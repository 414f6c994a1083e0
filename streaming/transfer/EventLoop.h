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

/// An event loop over epoll with timers and posted tasks. One thread runs it. post() and stop() may
/// be called on any thread, all other functions only on that thread.
class EventLoop {
 public:
  EventLoop();
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  /// Runs until stop() is called. Returns at once if it was called before.
  void run();
  void stop();
  /// Runs `task` on the loop's thread, in order.
  void post(std::function<void()> task);
  /// Destroys pending tasks and timers without running them. Tasks that are posted later are
  /// destroyed at once, on the calling thread.
  void close();

  /// Destroying the handle cancels the timer.
  std::shared_ptr<void> callAt(MonotonicTime when, std::function<void()> task);
  /// `ready` receives epoll events. Replaces the handler of the descriptor. `ready` may call
  /// watch() and unwatch() for any descriptor.
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
  std::mutex _mutex;  // guards _tasks, _isStopped and _isClosed
  std::vector<std::function<void()>> _tasks;
  bool _isStopped = false;
  bool _isClosed = false;
  // Used only by the thread that runs the loop:
  const std::shared_ptr<Timers> _timers;
  std::uint64_t _timerCount = 0;
  std::unordered_map<int, Watch> _watches;
  std::uint32_t _generation = 0;
};

}  // namespace streaming
