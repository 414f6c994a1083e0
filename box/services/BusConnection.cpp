#include "box/services/BusConnection.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <utility>

#include <poll.h>

#include "platform/foundation/TVSLogger.h"

namespace box {

namespace {
/// Attempts in quick succession, each pause twice the one before.
constexpr int kMaximumAttempts = 8;
constexpr auto kFirstPause = std::chrono::milliseconds(10);
constexpr int kLastMessages = 64;
}  // namespace

void BusConnection::BusClose::operator()(sd_bus* bus) const {
  // Not flushed: that would wait for the bus.
  sd_bus_close(bus);
  sd_bus_unref(bus);
}

BusConnection::BusConnection(ServiceThread& thread, BusKind kind, std::string address)
    : _thread(thread), _kind(kind), _address(std::move(address)), _path(socketPathOf(_address)) {}

BusConnection::~BusConnection() = default;

void BusConnection::start() { _connect(); }

void BusConnection::close() {
  _nextAttempt.reset();
  _watch.reset();
  _source.reset();
  if (!_bus) return;
  if (std::exchange(_isReady, false)) {
    for (Client* client : _clients) client->busDidDisconnect();
  }
  // What the clients have sent at last goes out as far as the socket takes it.
  for (int count = 0; count < kLastMessages && sd_bus_process(_bus.get(), nullptr) > 0;) ++count;
  _bus.reset();
}

int BusConnection::descriptor() const { return sd_bus_get_fd(_bus.get()); }

short BusConnection::interest() const {
  return static_cast<short>(std::max(0, sd_bus_get_events(_bus.get())));
}

std::optional<platform::TimePoint> BusConnection::deadline() const {
  if (_isBusy) return platform::TimePoint{};
  std::uint64_t microseconds = UINT64_MAX;
  if (sd_bus_get_timeout(_bus.get(), &microseconds) <= 0 || microseconds == UINT64_MAX) {
    return std::nullopt;
  }
  // CLOCK_MONOTONIC, which is the steady clock's.
  return platform::TimePoint{std::chrono::microseconds(microseconds)};
}

void BusConnection::serve() {
  const int result = sd_bus_process(_bus.get(), nullptr);
  if (result < 0 || sd_bus_is_open(_bus.get()) <= 0) return _didEnd(result < 0 ? result : -EPIPE);
  _isBusy = result > 0;
  if (!_isReady && sd_bus_is_ready(_bus.get()) > 0) _didBecomeReady();
}

void BusConnection::_connect() {
  _nextAttempt.reset();
  if (_bus) return;
  // First, so that a socket which appears after a failure is noticed.
  if (!_path.empty() && !_watch) {
    _watch = std::make_unique<SocketWatch>(_thread, _path, [this] {
      _attempts = 0;
      _connect();
    });
  }
  const int result = _open();
  if (result >= 0) return;
  _sayMissing(result);
  // A file that is not there is what the watch waits for.
  if (result != -ENOENT || !_watch || !_watch->isWatching()) _connectLater();
}

int BusConnection::_open() {
  sd_bus* made = nullptr;
  int result = sd_bus_new(&made);
  decltype(_bus) bus(made);
  if (result >= 0) result = sd_bus_set_address(made, _address.c_str());
  if (result >= 0) result = sd_bus_set_bus_client(made, 1);
  if (result >= 0) result = sd_bus_start(made);
  if (result < 0) return result;
  _bus = std::move(bus);
  _isBusy = true;
  _source = _thread.add(*this);
  return 0;
}

void BusConnection::_didBecomeReady() {
  _isReady = true;
  _attempts = 0;
  // Not from within a call of the watch.
  _thread.async([this] {
    if (_bus) _watch.reset();
  });
  if (_saidPresent.has_value()) {
    TVSLogNotice(TVSSystemLog, "The %@ bus is there", nameOfBus(_kind));
  }
  _saidPresent = true;
  for (Client* client : _clients) client->busDidConnect(_bus.get());
}

void BusConnection::_didEnd(int reason) {
  _source.reset();
  _isBusy = false;
  if (std::exchange(_isReady, false)) {
    for (Client* client : _clients) client->busDidDisconnect();
    TVSLogNotice(TVSSystemLog, "The %@ bus has ended", nameOfBus(_kind));
    _saidPresent = false;
  } else {
    _sayMissing(reason);
  }
  // Not from within a call of its own.
  _thread.async([ended = std::shared_ptr<sd_bus>(std::move(_bus))] {});
  _connectLater();
}

void BusConnection::_connectLater() {
  if (_path.empty() || _attempts >= kMaximumAttempts) return;
  _nextAttempt = _thread.after(kFirstPause * (1 << _attempts), [this] { _connect(); });
  ++_attempts;
}

void BusConnection::_sayMissing(int reason) {
  const auto said = std::exchange(_saidPresent, false);
  if (said && !*said) return;
  TVSLogNotice(TVSSystemLog, "There is no %@ bus: %@", nameOfBus(_kind), std::strerror(-reason));
}

}  // namespace box
