#include "box/process/SignalWatch.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <utility>

#include <pthread.h>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/foundation/queues/Thread.h"

namespace box {

namespace {

/// The next signal, or nothing when `limit` has passed.
int nextSignal(const sigset_t& signals, platform::Duration limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  for (;;) {
    const auto left = std::max<platform::Duration>(end - std::chrono::steady_clock::now(), {});
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    const timespec timeout{static_cast<time_t>(seconds.count()),
                           static_cast<long>((left - seconds).count())};
    const int signal = sigtimedwait(&signals, nullptr, &timeout);
    if (signal > 0) return signal;
    if (errno != EINTR) return 0;
  }
}

}  // namespace

SignalWatch::SignalWatch(platform::Duration limit, std::function<void(int signal)> onSignal)
    : _limit(limit), _onSignal(std::move(onSignal)) {
  sigemptyset(&_signals);
  sigaddset(&_signals, SIGTERM);
  sigaddset(&_signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &_signals, &_before);
  const bool started = platform::startThread(_thread, [this] { _watch(); });
  TVS_ASSERT_MESSAGE(started, "no thread waits for signals");
}

SignalWatch::~SignalWatch() {
  _ending = true;
  // Wakes the thread wherever it waits; the signal is blocked and ends nothing.
  // NOLINTNEXTLINE(bugprone-bad-signal-to-kill-thread)
  pthread_kill(_thread.native_handle(), SIGTERM);
  _thread.join();
  pthread_sigmask(SIG_SETMASK, &_before, nullptr);
}

void SignalWatch::_watch() {
  int signal = 0;
  sigwait(&_signals, &signal);
  if (_ending) return;
  _onSignal(signal);
  const int second = nextSignal(_signals, _limit);
  if (_ending) return;
  if (second > 0) std::_Exit(128 + second);
  TVSLogWarning(TVSSystemLog, "Something did not end in time and is left as it is");
  std::_Exit(_leavingStatus);
}

}  // namespace box
