#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace platform {

class SerialQueue;

/// A counter of operations in progress. A thread can wait until it is zero.
///
/// A SerialQueue whose thread waits here is in state Blocked. It changes back to Running before the
/// last leave() returns. The group may be destroyed as soon as wait() has returned.
class WaitGroup {
 public:
  /// Any thread.
  void enter();
  /// Any thread. Each call matches an enter() (asserted).
  void leave();
  /// Waits without a time limit. Must not be called on the main thread: it usually waits for work
  /// of that thread.
  void wait();

 private:
  std::mutex _mutex;
  std::condition_variable _condition;
  std::size_t _count = 0;
  std::uint64_t _timesEmptied = 0;
  std::vector<SerialQueue*> _blockedQueues;
};

}  // namespace platform
