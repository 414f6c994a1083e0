#include "box/services/bus/BusPresence.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

namespace {
/// Attempts in quick succession, each pause twice the one before.
constexpr int kMaximumAttempts = 8;
constexpr auto kFirstPause = std::chrono::milliseconds(10);
}  // namespace

BusPresence::BusPresence(BusKind kind, std::string address, std::string_view component)
    : _kind(kind),
      _address(std::move(address)),
      _path(socketPathOf(_address)),
      _component(component) {}

void BusPresence::beginAttempt() {
  // First, so that a socket which appears after a failure is noticed.
  if (!_path.empty() && !_appearance) _appearance = std::make_unique<FileAppearance>(_path);
}

void BusPresence::didConnect() {
  _isConnected = true;
  _attempts = 0;
  _appearance.reset();
  if (_saidPresent.has_value()) {
    TVSLogNotice(_component, "The %@ bus is there", nameOfBus(_kind));
  }
  _saidPresent = true;
}

void BusPresence::didEnd(int reason) {
  const bool hasEnded = std::exchange(_isConnected, false);
  const auto said = std::exchange(_saidPresent, false);
  if (hasEnded) {
    TVSLogNotice(_component, "The %@ bus has ended", nameOfBus(_kind));
  } else if (!said || *said) {
    TVSLogNotice(_component, "There is no %@ bus: %@", nameOfBus(_kind), std::strerror(-reason));
  }
  // A file that is not there is what the watch waits for.
  const bool isAwaited = reason == -ENOENT && _appearance && _appearance->isWatching();
  if (isAwaited || _attempts >= kMaximumAttempts) return;
  _next = platform::SystemClock().now() + kFirstPause * (1 << _attempts++);
}

bool BusPresence::isDue() {
  const bool appeared = _appearance && _appearance->take();
  if (appeared) _attempts = 0;
  const bool isTime = _next && *_next <= platform::SystemClock().now();
  if (appeared || isTime) _next.reset();
  return appeared || isTime;
}

}  // namespace box
