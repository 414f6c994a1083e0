#include "sim/Runner.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/foundation/Assertion.h"

namespace sim {

using platform::SerialQueue;

namespace {

// Real-time limit for a task of the receiver queue. Only reached by a test that would hang.
constexpr auto kTaskTimeout = std::chrono::seconds(30);

/// Objects that a stuck thread of the receiver queue may still use.
struct AbandonedThread {
  std::shared_ptr<VirtualClock> clock;
  std::shared_ptr<platform::MainQueue> mainQueue;
  std::shared_ptr<SerialQueue> receiverQueue;
  std::vector<std::shared_ptr<ReceiverCallState>> calls;
};

void abandon(AbandonedThread what) {
  // Never destroyed, because destroying a queue joins its thread.
  static auto& all = *new std::vector<AbandonedThread>;
  all.push_back(std::move(what));
}

}  // namespace

struct Runner::Signal {
  std::mutex mutex;
  std::condition_variable changed;
};

Runner::Runner()
    : _clock(std::make_shared<VirtualClock>()),
      _mainQueue(std::make_shared<platform::MainQueue>(
          *_clock, std::make_shared<platform::ConditionWaiter>(*_clock, /*realTime=*/false))),
      _signal(std::make_shared<Signal>()) {
  _mainQueue->bindToCurrentThread();
}

Runner::~Runner() { endReceiverQueue(); }

void Runner::watch(std::shared_ptr<SerialQueue> queue) {
  TVS_ASSERT(!_receiverQueue && queue);
  _receiverQueue = std::move(queue);
  _receiverQueue->setStateObserver([signal = _signal] {
    // Locks the mutex, so that a notification is not lost between the check and the wait.
    const std::lock_guard lock(signal->mutex);
    signal->changed.notify_all();
  });
}

bool Runner::_waitForReceiverQueue() const {
  if (!_receiverQueue) return true;
  std::unique_lock lock(_signal->mutex);
  return _signal->changed.wait_until(lock, std::chrono::system_clock::now() + kTaskTimeout, [&] {
    return _receiverQueue->state() != SerialQueue::State::Running;
  });
}

void Runner::_requireQuietReceiverQueue() const {
  if (_waitForReceiverQueue()) return;
  throw std::runtime_error(
      "the receiver queue neither finished its task nor waits for the main thread in a way that "
      "can be "
      "seen");
}

void Runner::run() {
  TVS_ASSERT(_mainQueue->isCurrent());
  do {
    _requireQuietReceiverQueue();
  } while (_mainQueue->runDue());
  _forgetFinishedCalls();
}

void Runner::advance(platform::Duration duration) {
  TVS_ASSERT(duration >= platform::Duration::zero());
  const platform::TimePoint end = _clock->now() + duration;
  run();
  for (auto next = _mainQueue->nextDeadline(); next && *next <= end;
       next = _mainQueue->nextDeadline()) {
    _clock->advanceTo(*next);
    run();
  }
  _clock->advanceTo(end);
  run();
}

void Runner::begin(const std::shared_ptr<ReceiverCallState>& call) {
  if (!_receiverQueue) throw std::logic_error("nobody has registered with the receiver service");
  run();
  _calls.push_back(call);
  _receiverQueue->async([state = call.get()] { state->run(); });
  run();
}

void Runner::finish(const ReceiverCallState& call) {
  const platform::TimePoint limit = _clock->now() + _callLimit;
  run();
  while (!call.finished.load(std::memory_order_acquire)) {
    const auto next = _mainQueue->nextDeadline();
    if (!next || *next > limit) _reportStuckCall();
    _clock->advanceTo(*next);
    run();
  }
}

void Runner::_forgetFinishedCalls() {
  // The queue is idle, so its thread no longer uses the calls. Their captures are destroyed here.
  if (!_receiverQueue || _receiverQueue->state() != SerialQueue::State::Idle) return;
  _calls.clear();
}

void Runner::_reportStuckCall() {
  const bool timersLeft = _mainQueue->nextDeadline().has_value();
  endReceiverQueue();
  throw std::runtime_error(
      timersLeft
          ? "a receiver call is stuck: it did not return within " +
                std::to_string(platform::secondsFromDuration(_callLimit)) + " s of virtual time"
          : std::string("a receiver call is stuck: it waits, and no task or timer is left on "
                        "the main queue"));
}

void Runner::endReceiverQueue() {
  if (!_receiverQueue) return;
  bool quiet = _waitForReceiverQueue();
  if (quiet && _receiverQueue->state() == SerialQueue::State::Blocked) {
    // Unblocks a thread that waits for the main thread. A thread that waits in a wait group stays
    // blocked.
    _mainQueue->stop();
    quiet = _waitForReceiverQueue();
  }
  const bool gone = quiet && _receiverQueue->state() == SerialQueue::State::Idle;
  _receiverQueue->setStateObserver(nullptr);
  if (!gone) abandon({_clock, _mainQueue, _receiverQueue, std::move(_calls)});
  _calls.clear();
  _receiverQueue = nullptr;
}

}  // namespace sim
