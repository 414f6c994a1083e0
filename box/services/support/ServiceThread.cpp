#include "box/services/support/ServiceThread.h"

#include <algorithm>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>

#include "box/services/support/FileDescriptor.h"
#include "box/services/support/PollTimeout.h"
#include "platform/foundation/queues/Thread.h"

namespace box {

/// The waiter of the thread's queue.
class ServiceThread::Poll final : public platform::Waiter {
 public:
  void wait(std::optional<platform::TimePoint> deadline) override {
    _polled.assign({{_event.get(), POLLIN, 0}});
    for (const Source* source : _sources) {
      _polled.push_back({source->descriptor(), source->interest(), 0});
      if (const auto due = source->deadline())
        deadline = deadline ? std::min(*deadline, *due) : due;
    }
    const auto sources = _sources;
    if (poll(_polled.data(), _polled.size(), pollTimeoutUntil(deadline)) < 0) return;
    if (_polled[0].revents != 0) {
      eventfd_t ignored = 0;
      static_cast<void>(eventfd_read(_event.get(), &ignored));
    }
    const platform::TimePoint now = platform::SystemClock().now();
    for (std::size_t index = 0; index < sources.size(); ++index) {
      Source* const source = sources[index];
      // A source that was served before may have removed this one.
      if (std::find(_sources.begin(), _sources.end(), source) == _sources.end()) continue;
      const auto due = source->deadline();
      if (_polled[index + 1].revents != 0 || (due && *due <= now)) source->serve();
    }
  }

  void wake() override {
    // The write fails only if the counter is full. Then the descriptor is readable already.
    static_cast<void>(eventfd_write(_event.get(), 1));
  }

  void add(Source& source) { _sources.push_back(&source); }
  void remove(Source& source) { std::erase(_sources, &source); }

 private:
  const FileDescriptor _event{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  std::vector<Source*> _sources;
  std::vector<pollfd> _polled;
};

ServiceThread::ServiceThread()
    : _poll(std::make_shared<Poll>()),
      _queue(std::make_shared<platform::MainQueue>(_clock, _poll)) {}

ServiceThread::~ServiceThread() { stop(); }

void ServiceThread::start() {
  // If the thread cannot be started, the system services are not available; the rest works.
  static_cast<void>(platform::startThread(_thread, [this] { _queue->run(); }));
}

void ServiceThread::stop() {
  _queue->stop();
  if (_thread.joinable()) _thread.join();
  _queue->discard();
}

platform::Token ServiceThread::add(Source& source) {
  _poll->add(source);
  return platform::Token([poll = _poll, removed = &source] { poll->remove(*removed); });
}

}  // namespace box
