#pragma once

#include <atomic>
#include <csignal>
#include <functional>
#include <thread>

#include "platform/foundation/queues/Clock.h"

namespace box {

/// Turns SIGTERM and SIGINT into an orderly end that has a limit.
///
/// The first signal is handed on. From then on the process has `limit` to end; when that has passed
/// it is ended without further ado, with the leaving status and a line in the log. A second signal
/// ends it at once, with the status that a shell would give for it.
///
/// Workflow: made on the main thread before any other thread, which then inherit that these signals
/// are blocked. Destruction restores them.
class SignalWatch {
 public:
  /// `onSignal` is called on a thread of the watch's own, once.
  SignalWatch(platform::Duration limit, std::function<void(int signal)> onSignal);
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

  /// The exit status when the limit has passed; 1 unless set. Any thread.
  void setLeavingStatus(int status) { _leavingStatus = status; }

 private:
  void _watch();

  const platform::Duration _limit;
  const std::function<void(int)> _onSignal;
  sigset_t _signals{};
  sigset_t _before{};
  std::atomic<int> _leavingStatus = 1;
  std::atomic<bool> _ending = false;
  std::thread _thread;
};

}  // namespace box
