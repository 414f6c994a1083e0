#pragma once

#include <memory>
#include <vector>

#include "platform/foundation/queues/Queue.h"
#include "sim/ReceiverCall.h"
#include "sim/VirtualClock.h"

namespace sim {

/// Runs the main queue and the receiver queue in virtual time, in the same order in every run.
///
/// The main thread runs tasks only while the thread of the receiver queue is idle or blocked on the
/// main thread. The time advances only when both have nothing to do. The receiver queue reports its
/// changes through its state observer, so nothing polls or sleeps. One order is not deterministic:
/// what a main task does after it has unblocked the receiver thread, relative to what that thread
/// does next.
///
/// Threads: the creating thread, which becomes the main thread.
class Runner {
 public:
  Runner();
  ~Runner();
  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  VirtualClock& clock() { return *_clock; }
  platform::MainQueue& mainQueue() { return *_mainQueue; }
  /// Sets the receiver queue after its registration.
  void watch(std::shared_ptr<platform::SerialQueue> queue);

  /// Runs until nothing is due and the receiver queue is idle or blocked.
  void run();
  /// Advances the time from timer to timer, with run() at each.
  void advance(platform::Duration duration);

  /// Starts the call on the receiver queue. Returns when it has finished or is blocked.
  void begin(const std::shared_ptr<ReceiverCallState>& call);
  /// Advances the time from timer to timer until the call has finished. Throws std::runtime_error
  /// if it is stuck.
  void finish(const ReceiverCallState& call);
  /// Virtual time after which a call counts as stuck.
  void setCallLimit(platform::Duration limit) { _callLimit = limit; }

  /// Waits for the running tasks of the receiver queue and releases it. If its thread is stuck, the
  /// thread and the objects that it uses are leaked.
  void endReceiverQueue();

 private:
  struct Signal;

  /// Returns false if the queue is still running after a real-time limit.
  bool _waitForReceiverQueue() const;
  void _requireQuietReceiverQueue() const;
  void _forgetFinishedCalls();
  [[noreturn]] void _reportStuckCall();

  // Shared with abandoned threads of a receiver queue.
  std::shared_ptr<VirtualClock> _clock;
  std::shared_ptr<platform::MainQueue> _mainQueue;
  std::shared_ptr<platform::SerialQueue> _receiverQueue;
  std::shared_ptr<Signal> _signal;
  std::vector<std::shared_ptr<ReceiverCallState>> _calls;
  platform::Duration _callLimit = std::chrono::minutes(10);
};

}  // namespace sim
