#include "box/services/dbus/Inbox.h"

#include <utility>

#include <sys/eventfd.h>

namespace box {

Inbox::Inbox() : _event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void Inbox::post(std::function<void()> task) {
  {
    const std::lock_guard lock(_mutex);
    if (_closed) return;
    _tasks.push_back(std::move(task));
  }
  wake();
}

void Inbox::wake() {
  // The write fails only if the counter is full. Then the descriptor is readable already.
  static_cast<void>(eventfd_write(_event.get(), 1));
}

void Inbox::run() {
  eventfd_t ignored = 0;
  static_cast<void>(eventfd_read(_event.get(), &ignored));
  std::vector<std::function<void()>> tasks;
  {
    const std::lock_guard lock(_mutex);
    tasks.swap(_tasks);
  }
  for (const auto& task : tasks) task();
}

void Inbox::close() {
  std::vector<std::function<void()>> dropped;  // destroyed once the lock is released
  const std::lock_guard lock(_mutex);
  _closed = true;
  dropped.swap(_tasks);
}

}  // namespace box
