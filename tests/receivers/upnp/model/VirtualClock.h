#pragma once

#include <map>
#include <utility>

#include "receivers/upnp/model/Clock.h"

/// Time that only advance() moves.
class VirtualClock final : public upnp::Clock {
 public:
  Duration now() const override { return _now; }
  Timer after(Duration delay, std::function<void()> task) override {
    const auto key = std::pair(_now + delay, ++_count);
    _tasks->emplace(key, std::move(task));
    return Timer(nullptr, [tasks = _tasks, key](void*) { tasks->erase(key); });
  }
  /// Runs the tasks that are due in this time, in order.
  void advance(Duration time) {
    const Duration end = _now + time;
    while (!_tasks->empty() && _tasks->begin()->first.first <= end) {
      _now = std::max(_now, _tasks->begin()->first.first);
      const auto task = std::move(_tasks->begin()->second);
      _tasks->erase(_tasks->begin());
      task();
    }
    _now = end;
  }
  std::size_t pending() const { return _tasks->size(); }

 private:
  using Tasks = std::map<std::pair<Duration, unsigned>, std::function<void()>>;

  Duration _now{1000};
  unsigned _count = 0;
  std::shared_ptr<Tasks> _tasks = std::make_shared<Tasks>();
};
