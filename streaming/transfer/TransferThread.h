#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "streaming/transfer/EventLoop.h"

namespace streaming {

/// The thread that runs all transfers in an event loop. Any thread.
class TransferThread {
 public:
  ~TransferThread() { stop(); }
  TransferThread() = default;
  TransferThread(const TransferThread&) = delete;
  TransferThread& operator=(const TransferThread&) = delete;

  /// Later calls have no effect. `begin` runs first on the thread, `end` runs last.
  void start(std::function<void()> begin, std::function<void()> end);
  /// Waits for the end of the thread. On the thread itself it returns at once, and the thread ends
  /// after the current task.
  void stop();
  EventLoop& loop() { return *_loop; }

 private:
  const std::shared_ptr<EventLoop> _loop = std::make_shared<EventLoop>();
  std::mutex _mutex;  // guards the rest
  std::thread _thread;
  bool _isStarted = false;
};

}  // namespace streaming
