#include "media/link/LinkThread.h"

#include <cstdint>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "platform/foundation/queues/Thread.h"

namespace media {

LinkThread::LinkThread(Setup setup)
    : _setup(std::move(setup)),
      _socket(_setup.descriptor),
      _wakeupEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  static_cast<void>(platform::startThread(_thread, [this] { _run(); }));
}

LinkThread::~LinkThread() {
  _stopping = true;
  _wake();
  if (_thread.joinable()) _thread.join();
  close(_wakeupEvent);
}

void LinkThread::send(std::span<const std::byte> message) {
  if (_socket.send(message)) _wake();
}

void LinkThread::_wake() const {
  const std::uint64_t one = 1;
  // If the counter is full the descriptor is readable anyway.
  [[maybe_unused]] const ssize_t written = ::write(_wakeupEvent, &one, sizeof one);
}

void LinkThread::_run() {
  bool isOpen = true;
  std::vector<Source> sources = _setup.sources;
  while (!_stopping) {
    std::vector<pollfd> polled;
    polled.push_back({_wakeupEvent, POLLIN, 0});
    const auto events = static_cast<short>(_socket.hasQueued() ? POLLIN | POLLOUT : POLLIN);
    // poll() ignores negative descriptors.
    polled.push_back({isOpen ? _socket.descriptor() : -1, events, 0});
    for (const Source& each : sources) polled.push_back({each.descriptor, POLLIN, 0});
    if (poll(polled.data(), polled.size(), -1) < 0) continue;
    if (polled[0].revents != 0) {
      std::uint64_t count = 0;
      [[maybe_unused]] const ssize_t got = ::read(_wakeupEvent, &count, sizeof count);
    }
    if (_stopping) return;
    for (std::size_t index = sources.size(); index-- > 0;)
      if (polled[index + 2].revents != 0 && !sources[index].read())
        sources.erase(sources.begin() + static_cast<std::ptrdiff_t>(index));
    if (polled[1].revents == 0) continue;
    LinkSocket::State state = LinkSocket::State::Open;
    if ((polled[1].revents & POLLOUT) != 0) state = _socket.flush();
    if ((polled[1].revents & ~POLLOUT) != 0 && state == LinkSocket::State::Open)
      state = _socket.read(_setup.received);
    if (state == LinkSocket::State::Open) continue;
    isOpen = false;
    _setup.ended(state);
  }
}

}  // namespace media
