#include "box/services/dbus/Peer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "box/services/bus/BusCalls.h"
#include "box/services/dbus/BoxObject.h"
#include "box/services/dbus/DBusNames.h"
#include "box/services/dbus/MessageBusStub.h"
#include "box/services/dbus/NotificationsObject.h"
#include "box/services/dbus/ReceiverObject.h"

namespace box {

namespace {

/// How long a hung bus may block the server, once for each sender.
constexpr std::uint64_t kBusReplyTimeoutMicroseconds =
    std::chrono::microseconds(kBusReplyTimeout).count();
constexpr std::size_t kMaximumRememberedSenders = 256;

int onNameReply(sd_bus_message* reply, void*, sd_bus_error*) {
  std::uint32_t result = 0;
  if (sd_bus_message_is_method_error(reply, nullptr) > 0) {
    TVSLogNotice(kDBusLog, "The message bus rejected the name %@: %@", kWellKnownName,
                 busErrorText(reply));
  } else if (sd_bus_message_read_basic(reply, 'u', &result) > 0 && result != 1) {
    // The bus assigns the name to this process when the other one releases it.
    TVSLogNotice(kDBusLog, "Another process owns the name %@ on the message bus", kWellKnownName);
  }
  return 0;
}

}  // namespace

std::shared_ptr<Peer> Peer::accept(FileDescriptor socket, ServedObjects objects,
                                   const DBusServerOptions& options, platform::TimePoint now) {
  sd_bus* bus = nullptr;
  if (sd_bus_new(&bus) < 0) return nullptr;
  auto peer = std::make_shared<Peer>(Kind::Socket, bus, objects, options);
  sd_id128_t id;
  if (sd_id128_randomize(&id) < 0 || sd_bus_set_server(bus, 1, id) < 0) return nullptr;
  if (sd_bus_set_fd(bus, socket.get(), socket.get()) < 0) return nullptr;
  socket.release();
  if (!peer->_publish() || sd_bus_start(bus) < 0) return nullptr;
  peer->_authenticationDeadline = now + options.authenticationLimit;
  return peer;
}

std::shared_ptr<Peer> Peer::connect(const std::string& address, ServedObjects objects,
                                    const DBusServerOptions& options, platform::TimePoint now,
                                    int* result) {
  sd_bus* bus = nullptr;
  *result = sd_bus_new(&bus);
  if (*result < 0) return nullptr;
  auto peer = std::make_shared<Peer>(Kind::Bus, bus, objects, options);
  *result = sd_bus_set_address(bus, address.c_str());
  if (*result >= 0) *result = sd_bus_set_bus_client(bus, 1);
  if (*result >= 0) *result = sd_bus_set_method_call_timeout(bus, kBusReplyTimeoutMicroseconds);
  if (*result >= 0) *result = sd_bus_start(bus);
  if (*result >= 0 && !peer->_publish()) *result = -ENOMEM;
  if (*result < 0) return nullptr;
  peer->_authenticationDeadline = now + options.authenticationLimit;
  peer->_requestName();
  return peer;
}

Peer::Peer(Kind kind, sd_bus* bus, ServedObjects objects, const DBusServerOptions& options)
    : _kind(kind),
      _bus(bus),
      _objects(objects),
      _maximumQueuedMessages(options.maximumQueuedMessages),
      _maximumQueuedBytes(options.maximumQueuedBytes) {}

Peer::~Peer() {
  // Do not flush: that would block until the peer reads.
  sd_bus_close(_bus);
  sd_bus_unref(_bus);
}

bool Peer::_publish() {
  if (_kind == Kind::Socket &&
      sd_bus_add_object_vtable(_bus, nullptr, MessageBusStub::kPath, MessageBusStub::kInterface,
                               MessageBusStub::vtable(), nullptr) < 0) {
    return false;
  }
  return sd_bus_add_object_vtable(_bus, nullptr, kObjectPath, ReceiverObject::kInterface,
                                  ReceiverObject::vtable(), this) >= 0 &&
         sd_bus_add_object_vtable(_bus, nullptr, kObjectPath, BoxObject::kInterface,
                                  BoxObject::vtable(), this) >= 0 &&
         sd_bus_add_object_vtable(_bus, nullptr, kObjectPath, NotificationsObject::kInterface,
                                  NotificationsObject::vtable(), this) >= 0;
}

void Peer::_requestName() {
  if (sd_bus_request_name_async(_bus, nullptr, kWellKnownName, SD_BUS_NAME_QUEUE, onNameReply,
                                nullptr) < 0) {
    TVSLogNotice(kDBusLog, "Cannot request the name %@ on the message bus", kWellKnownName);
  }
}

int Peer::descriptor() const { return sd_bus_get_fd(_bus); }

std::uint32_t Peer::interest() const {
  const int events = sd_bus_get_events(_bus);
  return events < 0 ? 0 : static_cast<std::uint32_t>(events);
}

std::optional<platform::TimePoint> Peer::deadline() const {
  std::optional<platform::TimePoint> deadline = _authenticationDeadline;
  std::uint64_t microseconds = UINT64_MAX;
  if (sd_bus_get_timeout(_bus, &microseconds) > 0 && microseconds != UINT64_MAX) {
    // sd-bus uses CLOCK_MONOTONIC, like std::chrono::steady_clock.
    const platform::TimePoint due{std::chrono::microseconds(microseconds)};
    deadline = deadline ? std::min(*deadline, due) : due;
  }
  return deadline;
}

Peer::Turn Peer::process(platform::TimePoint now) {
  const int result = sd_bus_process(_bus, nullptr);
  if (result < 0) {
    const bool ended = result == -ENOTCONN || result == -ECONNRESET || result == -EPIPE;
    const char* reason = _ready ? "invalid message" : "authentication failed";
    closeLater(ended || _kind == Kind::Bus ? nullptr : reason);
    return Turn::Idle;
  }
  if (sd_bus_is_open(_bus) <= 0) {
    closeLater(nullptr);
    return Turn::Idle;
  }
  if (_authenticationDeadline && sd_bus_is_ready(_bus) > 0) {
    _authenticationDeadline.reset();
    _ready = true;
  }
  // Data that arrived before the deadline counts even if it is read later.
  if (_authenticationDeadline && result == 0 && now >= *_authenticationDeadline) {
    closeLater("authentication timed out");
  }
  _checkQueue();
  return result > 0 && !_closing ? Turn::Busy : Turn::Idle;
}

void Peer::send(sd_bus_message* message, std::size_t bytes) {
  // On failure the connection is broken; process() fails too and closes it.
  const int result = sd_bus_send(_bus, message, nullptr);
  if (result >= 0) {
    _queuedSizes.push_back(bytes);
    _queuedBytes += bytes;
  }
  _checkQueue();
}

void Peer::_checkQueue() {
  std::uint64_t queued = 0;
  if (sd_bus_get_n_queued_write(_bus, &queued) < 0) queued = 0;
  while (_queuedSizes.size() > queued) {
    _queuedBytes -= _queuedSizes.front();
    _queuedSizes.pop_front();
  }
  if (queued > _maximumQueuedMessages || (queued > 1 && _queuedBytes > _maximumQueuedBytes)) {
    closeLater("its outgoing queue is full");
  }
}

void Peer::closeLater(const char* reason) {
  if (std::exchange(_closing, true) || !reason) return;
  TVSLogNotice(kDBusLog, "Closed a connection: %@", reason);
}

bool Peer::authorizes(sd_bus_message* call) {
  if (_kind == Kind::Socket) return true;
  const char* sender = sd_bus_message_get_sender(call);
  if (!sender) return false;
  if (const auto known = _authorized.find(sender); known != _authorized.end()) return known->second;

  sd_bus_creds* credentials = nullptr;
  uid_t user = 0;
  const bool admitted = sd_bus_query_sender_creds(call, SD_BUS_CREDS_EUID, &credentials) >= 0 &&
                        sd_bus_creds_get_euid(credentials, &user) >= 0 &&
                        (user == 0 || user == geteuid());
  sd_bus_creds_unref(credentials);
  if (!admitted) TVSLogNotice(kDBusLog, "Rejected calls of %@: different user", sender);
  if (_authorized.size() >= kMaximumRememberedSenders) _authorized.clear();
  _authorized.emplace(sender, admitted);
  return admitted;
}

}  // namespace box
