#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "streaming/transfer/EventLoop.h"

namespace streaming {

/// The thread of all transfers, which runs an event loop. Any thread.
class TransferThread {
 public:
  /// Like stop().
  ~TransferThread() { stop(); }
  TransferThread() = default;
  TransferThread(const TransferThread&) = delete;
  TransferThread& operator=(const TransferThread&) = delete;

  /// Does nothing after the first time. `begin` is called first on the thread, and `end` last.
  void start(std::function<void()> begin, std::function<void()> end);
  /// Returns when the thread has ended. On the thread itself it returns at once, and the thread
  /// ends after its current task.
  void stop();
  EventLoop& loop() { return *_loop; }

 private:
  const std::shared_ptr<EventLoop> _loop = std::make_shared<EventLoop>();
  std::mutex _mutex;  // guards the rest
  std::thread _thread;
  bool _isStarted = false;
};

}  // namespace streaming
