#include "streaming/playback/ReadGate.h"

namespace streaming {

void ReadGate::setClosed(bool closed) {
  _isClosed = closed;
  if (!closed) return;
  const std::lock_guard lock(_mutex);
  for (const Waiter* waiter : _waiters) {
    // Locking the mutex ensures that a waiter which saw an open gate is already waiting.
    const std::lock_guard waitLock(waiter->_waitMutex);
    waiter->_changed.notify_all();
  }
}

ReadGate::Waiter::Waiter(const ReadGate& gate, std::mutex& mutex, std::condition_variable& changed)
    : _gate(gate), _waitMutex(mutex), _changed(changed) {
  const std::lock_guard lock(_gate._mutex);
  _gate._waiters.push_back(this);
}

ReadGate::Waiter::~Waiter() {
  const std::lock_guard lock(_gate._mutex);
  std::erase(_gate._waiters, this);
}

}  // namespace streaming
