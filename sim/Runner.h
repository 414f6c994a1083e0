#pragma once

#include <memory>
#include <vector>

#include "platform/foundation/queues/Queue.h"
#include "sim/ReceiverCall.h"
#include "sim/VirtualClock.h"

namespace sim {

/// Runs the main queue and the receiver queue in virtual time, so that everything happens in the
/// same order in every run.
///
/// The rule: the main thread runs tasks only while the receiver queue's thread sleeps or waits for
/// the main thread, and time moves only when both have nothing left to do. The queue's thread tells
/// of its changes through its state observer, so nothing here polls or sleeps. What is left to
/// chance is the order between what one main task does after it has released the queue's thread and
/// what that thread then does by itself.
///
/// Threads: the one that made it, which becomes the main thread.
class Runner {
 public:
  Runner();
  ~Runner();
  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  VirtualClock& clock() { return *_clock; }
  platform::MainQueue& mainQueue() { return *_mainQueue; }
  /// The receiver queue, once there is one.
  void watch(std::shared_ptr<platform::SerialQueue> queue);

  /// Runs until nothing is due and the receiver queue is idle, or waits for something that is not
  /// due.
  void run();
  /// Moves the time from timer to timer, run() at each.
  void advance(platform::Duration duration);

  /// Has the receiver queue make the call; returns when it has finished or stalled.
  void begin(const std::shared_ptr<ReceiverCallState>& call);
  /// Moves the time from timer to timer until the call has finished. Throws std::runtime_error when
  /// it is stuck.
  void finish(const ReceiverCallState& call);
  /// How much virtual time a call may take before it counts as stuck.
  void setCallLimit(platform::Duration limit) { _callLimit = limit; }

  /// Lets the receiver queue finish what it has begun, and forgets it. Where that is impossible its
  /// thread is given up: it and what it needs stay in memory until the process ends.
  void endReceiverQueue();

 private:
  struct Signal;

  /// False when the queue was still running after a generous real time.
  bool _waitForReceiverQueue() const;
  void _requireQuietReceiverQueue() const;
  void _forgetFinishedCalls();
  [[noreturn]] void _reportStuckCall();

  // Shared with a receiver queue's thread that was given up.
  std::shared_ptr<VirtualClock> _clock;
  std::shared_ptr<platform::MainQueue> _mainQueue;
  std::shared_ptr<platform::SerialQueue> _receiverQueue;
  std::shared_ptr<Signal> _signal;
  std::vector<std::shared_ptr<ReceiverCallState>> _calls;
  platform::Duration _callLimit = std::chrono::minutes(10);
};

}  // namespace sim
