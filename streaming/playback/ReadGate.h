#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace streaming {

/// Lets another thread cancel waits: while the gate is closed, reads that would wait return at
/// once. Any thread.
class ReadGate {
 public:
  void setClosed(bool closed);
  bool isClosed() const { return _isClosed; }

  /// Of whoever waits for `changed`: closing the gate notifies it. To be made before `mutex`, which
  /// guards the condition, is locked, and destroyed after it was unlocked.
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
