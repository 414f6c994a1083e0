#include "platform/foundation/queues/SerialQueue.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/queues/SyncCall.h"
#include "platform/foundation/queues/Thread.h"

namespace platform {

namespace {

thread_local SerialQueue* currentQueue = nullptr;

std::shared_ptr<Waiter> makeDefaultWaiter() {
  static const SystemClock clock;
  return std::make_shared<ConditionWaiter>(clock);
}

}  // namespace

struct SerialQueue::Impl {
  const std::string label;

  std::atomic<bool> blocked = false;
  // Not `mutex`: _setBlocked() copies the observer while other locks are held.
  mutable std::mutex observerMutex;
  Observer observer;

  // Protected by `mutex`.
  mutable std::mutex mutex;
  std::condition_variable waiterReleased;
  std::deque<std::function<void()>> tasks;
  std::shared_ptr<Waiter> waiter = makeDefaultWaiter();
  const Waiter* waiterInUse = nullptr;
  bool running = false;
  bool sleeping = false;
  bool stopping = false;

  std::thread thread;

  explicit Impl(std::string theLabel) : label(std::move(theLabel)) {}

  Observer currentObserver() const {
    const std::lock_guard lock(observerMutex);
    return observer;
  }
  void notify() const {
    if (const auto current = currentObserver()) (*current)();
  }

  /// The waiter that the caller must wake after it has released `mutex`, or null. Requires `mutex`.
  std::shared_ptr<Waiter> waiterToWake() {
    if (currentQueue && currentQueue->_impl.get() == this) return nullptr;
    return std::exchange(sleeping, false) ? waiter : nullptr;
  }

  /// Sleeps once. Releases the lock meanwhile.
  void sleep(std::unique_lock<std::mutex>& lock) {
    const auto used = waiter;
    sleeping = true;
    waiterInUse = used.get();
    lock.unlock();
    used->wait(std::nullopt);
    lock.lock();
    sleeping = false;
    waiterInUse = nullptr;
    waiterReleased.notify_all();
  }

  void runTasks(std::unique_lock<std::mutex>& lock) {
    while (!tasks.empty()) {
      running = true;
      {
        const std::function<void()> task = std::move(tasks.front());
        tasks.pop_front();
        lock.unlock();
        task();
      }
      lock.lock();
      running = false;
      if (!tasks.empty()) continue;
      lock.unlock();
      notify();
      lock.lock();
    }
  }

  void main(SerialQueue* queue) {
    currentQueue = queue;
    std::unique_lock lock(mutex);
    for (;;) {
      runTasks(lock);
      if (stopping) return;
      sleep(lock);
    }
  }
};

SerialQueue::SerialQueue(std::string label) : _impl(std::make_unique<Impl>(std::move(label))) {
  const bool started = startThread(_impl->thread, [this] { _impl->main(this); });
  if (!started)
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again),
                            "a serial queue without a thread");
}

SerialQueue::~SerialQueue() {
  TVS_ASSERT(!isCurrent());
  std::shared_ptr<Waiter> waiter;
  {
    const std::lock_guard lock(_impl->mutex);
    _impl->stopping = true;
    waiter = _impl->waiterToWake();
  }
  if (waiter) waiter->wake();
  _impl->thread.join();
}

const std::string& SerialQueue::label() const { return _impl->label; }

void SerialQueue::async(std::function<void()> task) {
  TVS_ASSERT(task != nullptr);
  std::shared_ptr<Waiter> waiter;
  bool leavesIdle = false;
  {
    const std::lock_guard lock(_impl->mutex);
    leavesIdle = !_impl->running && _impl->tasks.empty();
    _impl->tasks.push_back(std::move(task));
    waiter = _impl->waiterToWake();
  }
  if (leavesIdle) _impl->notify();
  if (waiter) waiter->wake();
}

void SerialQueue::sync(const std::function<void()>& task) {
  TVS_ASSERT(task != nullptr);
  TVS_ASSERT_MESSAGE(!isCurrent(), "a synchronous call from a serial queue to itself");
  const auto call = std::make_shared<SyncCall>(task);
  async([call] {
    call->run();
    call->finish();
  });
  call->wait();
}

bool SerialQueue::isCurrent() const { return currentQueue == this; }

void SerialQueue::setWaiter(std::shared_ptr<Waiter> waiter) {
  if (!waiter) waiter = makeDefaultWaiter();
  std::unique_lock lock(_impl->mutex);
  if (_impl->waiter == waiter) return;
  std::swap(_impl->waiter, waiter);
  if (isCurrent() || _impl->waiterInUse != waiter.get()) return;
  lock.unlock();
  waiter->wake();
  lock.lock();
  _impl->waiterReleased.wait(lock, [&] { return _impl->waiterInUse != waiter.get(); });
}

SerialQueue::State SerialQueue::state() const {
  const std::lock_guard lock(_impl->mutex);
  if (_impl->blocked) return State::Blocked;
  return _impl->running || !_impl->tasks.empty() ? State::Running : State::Idle;
}

void SerialQueue::setStateObserver(std::function<void()> observer) {
  Observer shared =
      observer ? std::make_shared<const std::function<void()>>(std::move(observer)) : nullptr;
  const std::lock_guard lock(_impl->observerMutex);
  _impl->observer.swap(shared);
}

SerialQueue* SerialQueue::current() { return currentQueue; }

SerialQueue::Observer SerialQueue::_setBlocked(bool blocked) {
  _impl->blocked = blocked;
  return _impl->currentObserver();
}

}  // namespace platform
