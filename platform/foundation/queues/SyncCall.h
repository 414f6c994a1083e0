#pragma once

#include <atomic>
#include <exception>
#include <functional>

namespace platform {

/// One synchronous call from one thread to another; private to the queues.
///
/// It is waited for on an atomic of its own, so that a call wakes exactly one thread, once, and the
/// thread that is woken finds no lock to queue for. Shared by both sides, since the caller may be
/// gone while the other side is still in finish().
class SyncCall {
 public:
  explicit SyncCall(const std::function<void()>& task) : _task(&task) {}

  /// On the thread that runs it. Does not release the caller.
  void run() {
    try {
      (*_task)();
    } catch (...) {
      _exception = std::current_exception();
    }
    _ran = true;
  }
  /// Releases the caller; without run() before, the call fails.
  void finish() {
    _finished.store(1, std::memory_order_release);
    _finished.notify_one();
  }
  /// On the caller's thread: whether the task ran.
  bool wait() {
    _finished.wait(0, std::memory_order_acquire);
    if (_exception) std::rethrow_exception(_exception);
    return _ran;
  }

 private:
  const std::function<void()>* _task;
  std::exception_ptr _exception;
  bool _ran = false;
  std::atomic<int> _finished = 0;
};

}  // namespace platform
