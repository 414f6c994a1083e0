#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace streaming {

/// Cancels blocking reads from another thread: while the gate is closed, they return at once. Any
/// thread.
class ReadGate {
 public:
  void setClosed(bool closed);
  bool isClosed() const { return _isClosed; }

  /// Registers a wait on `changed`, which is notified when the gate closes. Create it before
  /// locking `mutex`, and destroy it after unlocking.
  class Waiter {
   public:
    Waiter(const ReadGate& gate, std::mutex& mutex, std::condition_variable& changed);
    ~Waiter();
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

   private:
    friend class ReadGate;
    const ReadGate& _gate;
    std::mutex& _waitMutex;
    std::condition_variable& _changed;
  };

 private:
  std::atomic<bool> _isClosed = false;
  mutable std::mutex _mutex;  // guards _waiters
  mutable std::vector<Waiter*> _waiters;
};

}  // namespace streaming
