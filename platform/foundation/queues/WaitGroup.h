#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace platform {

class SerialQueue;

/// Counts work in progress, and lets a thread wait until there is none.
///
/// A SerialQueue whose thread waits here is Blocked, and Running again before the last leave()
/// returns. May be destroyed as soon as wait() has returned.
class WaitGroup {
 public:
  /// Any thread.
  void enter();
  /// Any thread; one more leave() than enter() is a programming error.
  void leave();
  /// Unbounded. Must not be called on the main thread, whose work it usually waits for.
  void wait();

 private:
  std::mutex _mutex;
  std::condition_variable _condition;
  std::size_t _count = 0;
  std::uint64_t _timesEmptied = 0;
  std::vector<SerialQueue*> _blockedQueues;
};

}  // namespace platform
