#include "streaming/transfer/EventLoop.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace streaming {

struct EventLoop::TimerHandle {
  TimerHandle(std::weak_ptr<Timers> timerMap, TimerKey timerKey)
      : timers(std::move(timerMap)), key(timerKey) {}
  ~TimerHandle() {
    if (const auto alive = timers.lock()) alive->erase(key);
  }
  TimerHandle(const TimerHandle&) = delete;
  TimerHandle& operator=(const TimerHandle&) = delete;

  const std::weak_ptr<Timers> timers;
  const TimerKey key;
};

EventLoop::EventLoop()
    : _epoll(epoll_create1(EPOLL_CLOEXEC)),
      _wakeup(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      _timers(std::make_shared<Timers>()) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = static_cast<std::uint64_t>(_wakeup);
  epoll_ctl(_epoll, EPOLL_CTL_ADD, _wakeup, &event);
}

EventLoop::~EventLoop() {
  ::close(_epoll);
  ::close(_wakeup);
}

void EventLoop::post(std::function<void()> task) {
  {
    const std::lock_guard lock(_mutex);
    if (_isClosed) return;
    _tasks.push_back(std::move(task));
  }
  eventfd_write(_wakeup, 1);
}

void EventLoop::stop() {
  {
    const std::lock_guard lock(_mutex);
    _isStopped = true;
  }
  eventfd_write(_wakeup, 1);
}

void EventLoop::close() {
  std::vector<std::function<void()>> tasks;
  {
    const std::lock_guard lock(_mutex);
    _isClosed = true;
    tasks.swap(_tasks);
  }
  // Destroying a task may cancel a timer, which changes _timers.
  tasks.clear();
  const Timers timers = std::exchange(*_timers, {});
}

std::shared_ptr<void> EventLoop::callAt(MonotonicTime when, std::function<void()> task) {
  const TimerKey key(when, ++_timerCount);
  _timers->emplace(key, std::move(task));
  return std::make_shared<TimerHandle>(_timers, key);
}

void EventLoop::watch(int descriptor, std::uint32_t events,
                      std::function<void(std::uint32_t)> ready) {
  Watch& watch = _watches[descriptor];
  const bool isNew = !watch.ready;
  watch.generation = ++_generation;
  watch.ready = std::make_shared<std::function<void(std::uint32_t)>>(std::move(ready));
  epoll_event event{};
  event.events = events;
  event.data.u64 =
      static_cast<std::uint64_t>(watch.generation) << 32 | static_cast<std::uint32_t>(descriptor);
  // The descriptor may have been closed and reopened without unwatch().
  if (isNew || epoll_ctl(_epoll, EPOLL_CTL_MOD, descriptor, &event) != 0)
    if (epoll_ctl(_epoll, EPOLL_CTL_ADD, descriptor, &event) != 0)
      epoll_ctl(_epoll, EPOLL_CTL_MOD, descriptor, &event);
}

void EventLoop::unwatch(int descriptor) {
  if (_watches.erase(descriptor) > 0) epoll_ctl(_epoll, EPOLL_CTL_DEL, descriptor, nullptr);
}

int EventLoop::_waitMilliseconds() const {
  if (_timers->empty()) return -1;
  using std::chrono::milliseconds;
  const auto rest = _timers->begin()->first.first - std::chrono::steady_clock::now();
  const auto count = std::chrono::ceil<milliseconds>(rest).count();
  return static_cast<int>(std::clamp<std::int64_t>(count, 0, INT_MAX));
}

void EventLoop::_callTasks() {
  std::vector<std::function<void()>> tasks;
  {
    const std::lock_guard lock(_mutex);
    tasks.swap(_tasks);
  }
  for (auto& task : tasks) {
    task();
    task = nullptr;
  }
}

void EventLoop::_callTimers() {
  const auto now = std::chrono::steady_clock::now();
  // Timers that are added here run in the next iteration, so that they cannot starve sockets.
  const std::uint64_t newest = _timerCount;
  for (auto each = _timers->begin(); each != _timers->end() && each->first.first <= now;) {
    if (each->first.second > newest) {
      ++each;
      continue;
    }
    const auto due = _timers->extract(each);
    due.mapped()();
    each = _timers->begin();
  }
}

void EventLoop::run() {
  std::array<epoll_event, 64> events;
  while (true) {
    {
      const std::lock_guard lock(_mutex);
      if (_isStopped) return;
    }
    const int count =
        epoll_wait(_epoll, events.data(), static_cast<int>(events.size()), _waitMilliseconds());
    for (int index = 0; index < count; ++index) {
      const auto& event = events[static_cast<std::size_t>(index)];
      const auto descriptor = static_cast<int>(event.data.u64 & 0xFFFFFFFF);
      const auto generation = static_cast<std::uint32_t>(event.data.u64 >> 32);
      if (generation == 0) {
        eventfd_t ignored = 0;
        eventfd_read(_wakeup, &ignored);
        continue;
      }
      const auto found = _watches.find(descriptor);
      // A previous handler may have removed or replaced the watch.
      if (found == _watches.end() || found->second.generation != generation) continue;
      const auto ready = found->second.ready;
      (*ready)(event.events);
    }
    _callTasks();
    _callTimers();
  }
}

}  // namespace streaming
