#include "box/services/bus/BusConnection.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <utility>

#include <poll.h>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

namespace {
constexpr int kMaxFinalMessages = 64;
}  // namespace

void BusConnection::BusClose::operator()(sd_bus* bus) const {
  // Do not flush: that would block on the bus.
  sd_bus_close(bus);
  sd_bus_unref(bus);
}

BusConnection::BusConnection(ServiceThread& thread, BusKind kind, std::string address)
    : _thread(thread), _presence(kind, std::move(address), TVSSystemLog) {}

BusConnection::~BusConnection() = default;

void BusConnection::start() { _source = _thread.add(*this); }

void BusConnection::close() {
  _source.reset();
  if (!_bus) return;
  if (std::exchange(_isReady, false)) {
    for (Client* client : _clients) client->busDidDisconnect();
  }
  // Writes the clients' last messages as far as the socket accepts them.
  for (int count = 0; count < kMaxFinalMessages && sd_bus_process(_bus.get(), nullptr) > 0;)
    ++count;
  _bus.reset();
}

int BusConnection::descriptor() const {
  return _bus ? sd_bus_get_fd(_bus.get()) : _presence.descriptor();
}

short BusConnection::interest() const {
  if (!_bus) return POLLIN;
  return static_cast<short>(std::max(0, sd_bus_get_events(_bus.get())));
}

std::optional<platform::TimePoint> BusConnection::deadline() const {
  if (!_bus) return _presence.deadline();
  if (_isBusy) return platform::TimePoint{};
  std::uint64_t microseconds = UINT64_MAX;
  if (sd_bus_get_timeout(_bus.get(), &microseconds) <= 0 || microseconds == UINT64_MAX) {
    return std::nullopt;
  }
  // sd-bus uses CLOCK_MONOTONIC, like std::chrono::steady_clock.
  return platform::TimePoint{std::chrono::microseconds(microseconds)};
}

void BusConnection::serve() {
  if (!_bus) {
    if (_presence.isDue()) _connect();
    return;
  }
  const int result = sd_bus_process(_bus.get(), nullptr);
  if (result < 0 || sd_bus_is_open(_bus.get()) <= 0) return _didEnd(result < 0 ? result : -EPIPE);
  _isBusy = result > 0;
  if (!_isReady && sd_bus_is_ready(_bus.get()) > 0) _didBecomeReady();
}

void BusConnection::_connect() {
  _presence.beginAttempt();
  if (const int result = _open(); result < 0) _presence.didEnd(result);
}

int BusConnection::_open() {
  sd_bus* made = nullptr;
  int result = sd_bus_new(&made);
  decltype(_bus) bus(made);
  if (result >= 0) result = sd_bus_set_address(made, _presence.address().c_str());
  if (result >= 0) result = sd_bus_set_bus_client(made, 1);
  if (result >= 0) result = sd_bus_start(made);
  if (result < 0) return result;
  _bus = std::move(bus);
  _isBusy = true;
  return 0;
}

void BusConnection::_didBecomeReady() {
  _isReady = true;
  _presence.didConnect();
  for (Client* client : _clients) client->busDidConnect(_bus.get());
}

void BusConnection::_didEnd(int reason) {
  _isBusy = false;
  if (std::exchange(_isReady, false)) {
    for (Client* client : _clients) client->busDidDisconnect();
  }
  // Destroyed in a later task, because this may run within one of its callbacks.
  _thread.async([ended = std::shared_ptr<sd_bus>(std::move(_bus))] {});
  _presence.didEnd(reason);
}

}  // namespace box
