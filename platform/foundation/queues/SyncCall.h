#pragma once

#include <atomic>
#include <exception>
#include <functional>

namespace platform {

/// One synchronous call between two threads. Private to the queues.
///
/// The caller waits on an atomic instead of a condition variable, so that it does not contend for a
/// mutex when it is woken. Both threads hold a shared_ptr, because the caller may return while the
/// other thread is still in finish().
class SyncCall {
 public:
  explicit SyncCall(const std::function<void()>& task) : _task(&task) {}

  /// Runs the task on the called thread. Does not release the caller.
  void run() {
    try {
      (*_task)();
    } catch (...) {
      _exception = std::current_exception();
    }
    _ran = true;
  }
  /// Releases the caller. Without a run() before, wait() returns false.
  void finish() {
    _finished.store(1, std::memory_order_release);
    _finished.notify_one();
  }
  /// Waits for finish() on the calling thread. Returns whether the task has run.
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
