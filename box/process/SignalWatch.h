#pragma once

#include <atomic>
#include <csignal>
#include <functional>
#include <thread>

#include "platform/foundation/queues/Clock.h"

namespace box {

/// Handles SIGTERM and SIGINT: shutdown with a timeout.
///
/// The first signal calls `onSignal`. If the process still runs after `timeout`, the watch logs a
/// warning and calls _Exit(). A second signal calls _Exit(128 + signal) at once.
///
/// Construct it on the main thread before any other thread is started: the constructor blocks the
/// signals, and new threads inherit the mask. The destructor restores the mask.
class SignalWatch {
 public:
  /// `onSignal` is called at most once, on the watch's own thread.
  SignalWatch(platform::Duration timeout, std::function<void(int signal)> onSignal);
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

  /// False if the thread could not be started.
  bool isRunning() const { return _thread.joinable(); }
  /// The exit status after the timeout; 1 by default. Thread-safe.
  void setTimeoutStatus(int status) { _timeoutStatus = status; }

 private:
  void _watch();

  const platform::Duration _timeout;
  const std::function<void(int)> _onSignal;
  sigset_t _signals{};
  sigset_t _previousMask{};
  std::atomic<int> _timeoutStatus = 1;
  std::atomic<bool> _stopping = false;
  std::thread _thread;
};

}  // namespace box
