#include "platform/foundation/queues/MainQueue.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/queues/SerialQueue.h"
#include "platform/foundation/queues/SyncCall.h"

namespace platform {

struct MainQueue::Impl {
  using Sequence = std::uint64_t;
  using TimerKey = std::pair<TimePoint, Sequence>;

  struct Call : SyncCall {
    Call(const std::function<void()>& task, SerialQueue* caller) : SyncCall(task), queue(caller) {}

    /// `queue` is valid, because its thread is still blocked in this call.
    void release() {
      if (queue) {
        if (const auto observer = queue->_setBlocked(false)) (*observer)();
      }
      finish();
    }
    SerialQueue* const queue;
  };

  struct Task {
    Sequence sequence;
    std::function<void()> function;  // null: `call` holds the task
    std::shared_ptr<Call> call;
  };

  // Immutable.
  const Clock& clock;
  const std::shared_ptr<Waiter> waiter;

  std::atomic<std::thread::id> mainThread;

  // Protected by `mutex`.
  mutable std::mutex mutex;
  std::deque<Task> tasks;
  std::map<TimerKey, std::function<void()>> timers;
  Sequence nextSequence = 0;
  bool sleeping = false;
  std::optional<Sequence> stoppedAt;

  Impl(const Clock& theClock, std::shared_ptr<Waiter> theWaiter)
      : clock(theClock), waiter(std::move(theWaiter)) {}

  bool isCurrent() const {
    return mainThread.load(std::memory_order_relaxed) == std::this_thread::get_id();
  }

  /// Whether the caller must call waiter->wake() after it has released `mutex`. Requires `mutex`.
  /// False on the main thread, which checks for tasks again before it sleeps.
  bool needsWake() { return !isCurrent() && std::exchange(sleeping, false); }

  void push(Task task) {
    bool wakes = false;
    {
      const std::lock_guard lock(mutex);
      task.sequence = nextSequence++;
      tasks.push_back(std::move(task));
      wakes = needsWake();
    }
    if (wakes) waiter->wake();
  }

  /// Runs the first task if it was posted before `bound`. Returns whether it did.
  bool runTask(Sequence bound) {
    Task task;
    {
      const std::lock_guard lock(mutex);
      if (tasks.empty() || tasks.front().sequence >= bound) return false;
      task = std::move(tasks.front());
      tasks.pop_front();
    }
    if (task.call) {
      task.call->run();
      task.call->release();
    } else {
      task.function();
    }
    return true;
  }

  /// Runs the first timer that is due at `now` and was created before `bound`. Returns whether
  /// there was one.
  bool runTimer(TimePoint now, Sequence bound) {
    std::function<void()> function;
    {
      const std::lock_guard lock(mutex);
      auto timer = timers.begin();
      while (timer != timers.end() && timer->first.first <= now && timer->first.second >= bound)
        ++timer;
      if (timer == timers.end() || timer->first.first > now) return false;
      function = std::move(timer->second);
      timers.erase(timer);
    }
    function();
    return true;
  }

  bool runTurn() {
    Sequence bound = 0;
    {
      const std::lock_guard lock(mutex);
      bound = nextSequence;
    }
    bool ran = false;
    while (runTask(bound)) ran = true;
    const TimePoint now = clock.now();
    while (runTimer(now, bound)) ran = true;
    return ran;
  }

  void bind() {
    std::thread::id unbound;
    mainThread.compare_exchange_strong(unbound, std::this_thread::get_id(),
                                       std::memory_order_relaxed);
    TVS_ASSERT_MESSAGE(isCurrent(), "the main queue runs on one thread");
  }

  void cancel(const TimerKey& key) {
    std::function<void()> dropped;  // destroyed after the unlock: destructors may call the queue
    const std::lock_guard lock(mutex);
    const auto timer = timers.find(key);
    if (timer == timers.end()) return;
    dropped = std::move(timer->second);
    timers.erase(timer);
  }

  void stop() {
    std::deque<Task> calls;
    {
      const std::lock_guard lock(mutex);
      if (!stoppedAt) stoppedAt = nextSequence;
      std::deque<Task> others;
      for (Task& task : tasks) (task.call ? calls : others).push_back(std::move(task));
      tasks = std::move(others);
      sleeping = false;
    }
    for (const Task& task : calls) task.call->release();
    waiter->wake();
  }
};

MainQueue::MainQueue(const Clock& clock, std::shared_ptr<Waiter> waiter)
    : _impl(std::make_shared<Impl>(clock, std::move(waiter))) {}

MainQueue::~MainQueue() { discard(); }

void MainQueue::discard() {
  _impl->stop();
  // The destructors of captured objects may post tasks or cancel timers, hence the loop.
  for (;;) {
    std::deque<Impl::Task> tasks;
    std::map<Impl::TimerKey, std::function<void()>> timers;
    {
      const std::lock_guard lock(_impl->mutex);
      tasks.swap(_impl->tasks);
      timers.swap(_impl->timers);
    }
    if (tasks.empty() && timers.empty()) break;
  }
}

void MainQueue::async(std::function<void()> task) {
  TVS_ASSERT(task != nullptr);
  _impl->push({0, std::move(task), nullptr});
}

bool MainQueue::sync(const std::function<void()>& task) {
  TVS_ASSERT(task != nullptr);
  const auto impl = _impl;
  TVS_ASSERT_MESSAGE(!impl->isCurrent(),
                     "a synchronous hop to the main thread from the main thread");
  const auto call = std::make_shared<Impl::Call>(task, SerialQueue::current());
  bool wakes = false;
  SerialQueue::Observer observer;
  {
    // The task is posted and the state changes under one lock: a thread that reads the state
    // Blocked finds the task.
    const std::lock_guard lock(impl->mutex);
    if (impl->stoppedAt) return false;
    impl->tasks.push_back({impl->nextSequence++, nullptr, call});
    if (call->queue) observer = call->queue->_setBlocked(true);
    wakes = impl->needsWake();
  }
  if (wakes) impl->waiter->wake();
  if (observer) (*observer)();
  return call->wait();
}

Token MainQueue::after(Duration delay, std::function<void()> task) {
  TVS_ASSERT(task != nullptr);
  const TimePoint now = _impl->clock.now();
  const TimePoint deadline = delay > TimePoint::max() - now ? TimePoint::max() : now + delay;
  Impl::TimerKey key(deadline, 0);
  bool wakes = false;
  {
    const std::lock_guard lock(_impl->mutex);
    key.second = _impl->nextSequence++;
    const auto timer = _impl->timers.emplace(key, std::move(task)).first;
    wakes = timer == _impl->timers.begin() && _impl->needsWake();
  }
  if (wakes) _impl->waiter->wake();
  return Token([weak = std::weak_ptr(_impl), key] {
    if (const auto impl = weak.lock()) impl->cancel(key);
  });
}

bool MainQueue::isCurrent() const { return _impl->isCurrent(); }

void MainQueue::bindToCurrentThread() { _impl->bind(); }

void MainQueue::run() {
  _impl->bind();
  for (;;) {
    std::optional<Impl::Sequence> stoppedAt;
    {
      const std::lock_guard lock(_impl->mutex);
      stoppedAt = _impl->stoppedAt;
    }
    if (stoppedAt) {
      while (_impl->runTask(*stoppedAt)) {
      }
      return;
    }
    if (!_impl->runTurn()) waitForWork();
  }
}

void MainQueue::stop() { _impl->stop(); }

bool MainQueue::runDue() {
  _impl->bind();
  bool ran = false;
  while (_impl->runTurn()) ran = true;
  return ran;
}

void MainQueue::waitForWork(std::optional<TimePoint> limit) {
  _impl->bind();
  std::optional<TimePoint> deadline = limit;
  {
    const std::lock_guard lock(_impl->mutex);
    if (!_impl->tasks.empty() || _impl->stoppedAt) return;
    if (!_impl->timers.empty()) {
      const TimePoint first = _impl->timers.begin()->first.first;
      deadline = limit ? std::min(*limit, first) : first;
    }
    _impl->sleeping = true;
  }
  _impl->waiter->wait(deadline);
  const std::lock_guard lock(_impl->mutex);
  _impl->sleeping = false;
}

std::optional<TimePoint> MainQueue::nextDeadline() const {
  const std::lock_guard lock(_impl->mutex);
  if (_impl->timers.empty()) return std::nullopt;
  return _impl->timers.begin()->first.first;
}

void MainQueue::wake() { _impl->waiter->wake(); }

}  // namespace platform
