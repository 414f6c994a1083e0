#include "box/process/SignalWatch.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <utility>

#include <pthread.h>

#include "platform/foundation/log/TVSLogger.h"
#include "platform/foundation/queues/Thread.h"

namespace box {

namespace {

/// Returns the next signal, or 0 if `timeout` has passed.
int nextSignal(const sigset_t& signals, platform::Duration timeout) {
  const auto end = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    const auto left = std::max<platform::Duration>(end - std::chrono::steady_clock::now(), {});
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    const timespec remaining{static_cast<time_t>(seconds.count()),
                             static_cast<long>((left - seconds).count())};
    const int signal = sigtimedwait(&signals, nullptr, &remaining);
    if (signal > 0) return signal;
    if (errno != EINTR) return 0;
  }
}

}  // namespace

SignalWatch::SignalWatch(platform::Duration timeout, std::function<void(int signal)> onSignal)
    : _timeout(timeout), _onSignal(std::move(onSignal)) {
  sigemptyset(&_signals);
  sigaddset(&_signals, SIGTERM);
  sigaddset(&_signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &_signals, &_previousMask);
  if (!platform::startThread(_thread, [this] { _watch(); }))
    TVSLogError(TVSSystemLog, "cannot start the signal thread");
}

SignalWatch::~SignalWatch() {
  _stopping = true;
  if (!isRunning()) {
    pthread_sigmask(SIG_SETMASK, &_previousMask, nullptr);
    return;
  }
  // Wakes the thread from sigwait() or sigtimedwait(). The signal is blocked and not delivered.
  // NOLINTNEXTLINE(bugprone-bad-signal-to-kill-thread)
  pthread_kill(_thread.native_handle(), SIGTERM);
  _thread.join();
  pthread_sigmask(SIG_SETMASK, &_previousMask, nullptr);
}

void SignalWatch::_watch() {
  int signal = 0;
  sigwait(&_signals, &signal);
  if (_stopping) return;
  _onSignal(signal);
  const int second = nextSignal(_signals, _timeout);
  if (_stopping) return;
  if (second > 0) std::_Exit(128 + second);
  TVSLogWarning(TVSSystemLog, "The shutdown did not finish in time");
  std::_Exit(_timeoutStatus);
}

}  // namespace box
