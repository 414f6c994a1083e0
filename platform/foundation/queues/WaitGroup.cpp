#include "platform/foundation/queues/WaitGroup.h"

#include <functional>
#include <memory>
#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/queues/SerialQueue.h"

namespace platform {

void WaitGroup::enter() {
  const std::lock_guard lock(_mutex);
  ++_count;
}

void WaitGroup::leave() {
  std::vector<SerialQueue::Observer> observers;
  {
    const std::lock_guard lock(_mutex);
    TVS_ASSERT(_count > 0);
    if (--_count > 0) return;
    ++_timesEmptied;
    for (SerialQueue* queue : _blockedQueues) observers.push_back(queue->_setBlocked(false));
    _blockedQueues.clear();
    // Under the lock: after the unlock the waiting thread may destroy this object.
    _condition.notify_all();
  }
  for (const auto& observer : observers) {
    if (observer) (*observer)();
  }
}

void WaitGroup::wait() {
  std::unique_lock lock(_mutex);
  if (_count == 0) return;
  // Not the count: it may drop to zero and rise again before this thread wakes up.
  const auto before = _timesEmptied;
  if (SerialQueue* const queue = SerialQueue::current()) {
    _blockedQueues.push_back(queue);
    if (const auto observer = queue->_setBlocked(true)) {
      lock.unlock();
      (*observer)();
      lock.lock();
    }
  }
  _condition.wait(lock, [&] { return _timesEmptied != before; });
}

}  // namespace platform
