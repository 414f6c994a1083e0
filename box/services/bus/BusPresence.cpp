#include "box/services/bus/BusPresence.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

namespace {
/// Number of attempts. Each delay is twice the one before.
constexpr int kMaxAttempts = 8;
constexpr auto kFirstDelay = std::chrono::milliseconds(10);
}  // namespace

BusPresence::BusPresence(BusKind kind, std::string address, std::string_view component)
    : _kind(kind),
      _address(std::move(address)),
      _path(socketPathOf(_address)),
      _component(component) {}

void BusPresence::beginAttempt() {
  // Created before the attempt, so that no socket that appears after it is missed.
  if (!_path.empty() && !_appearance) _appearance = std::make_unique<FileWatch>(_path);
}

void BusPresence::didConnect() {
  _isConnected = true;
  _attempts = 0;
  _appearance.reset();
  if (_loggedPresent.has_value()) {
    TVSLogNotice(_component, "Connected to the %@ bus", nameOfBus(_kind));
  }
  _loggedPresent = true;
}

void BusPresence::didEnd(int reason) {
  const bool wasConnected = std::exchange(_isConnected, false);
  const auto logged = std::exchange(_loggedPresent, false);
  if (wasConnected) {
    TVSLogNotice(_component, "Disconnected from the %@ bus", nameOfBus(_kind));
  } else if (!logged || *logged) {
    TVSLogNotice(_component, "The %@ bus is not available: %@", nameOfBus(_kind),
                 std::strerror(-reason));
  }
  // If the socket does not exist, inotify reports its creation, so no timed retries are needed.
  const bool isWatched = reason == -ENOENT && _appearance && _appearance->isWatching();
  if (isWatched || _attempts >= kMaxAttempts) return;
  _retryTime = platform::SystemClock().now() + kFirstDelay * (1 << _attempts++);
}

bool BusPresence::isDue() {
  const bool appeared = _appearance && _appearance->take();
  if (appeared) _attempts = 0;
  const bool isTime = _retryTime && *_retryTime <= platform::SystemClock().now();
  if (appeared || isTime) _retryTime.reset();
  return appeared || isTime;
}

}  // namespace box
