#include "box/services/door/Peer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "box/services/bus/BusCalls.h"
#include "box/services/door/BoxObject.h"
#include "box/services/door/DoorLog.h"
#include "box/services/door/GreetingObject.h"
#include "box/services/door/NotificationsObject.h"
#include "box/services/door/ReceiverObject.h"

namespace box {

namespace {

/// What a bus that hangs holds the door up for, once for each that calls.
constexpr std::uint64_t kBusAnswerMicroseconds = std::chrono::microseconds(kBusAnswerLimit).count();
constexpr std::size_t kMaximumRememberedSenders = 256;

int nameAnswered(sd_bus_message* answer, void*, sd_bus_error*) {
  std::uint32_t result = 0;
  if (sd_bus_message_is_method_error(answer, nullptr) > 0) {
    TVSLogNotice(kDoorLog, "The message bus refuses the name %@: %@", kDoorBusName,
                 busErrorText(answer));
  } else if (sd_bus_message_read_basic(answer, 'u', &result) > 0 && result != 1) {
    // It comes over once that one gives it up.
    TVSLogNotice(kDoorLog, "Another process has the name %@, so this one goes without it",
                 kDoorBusName);
  }
  return 0;
}

}  // namespace

std::shared_ptr<Peer> Peer::accept(FileDescriptor socket, ServedObjects objects,
                                   const DoorOptions& options, platform::TimePoint now) {
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
                                    const DoorOptions& options, platform::TimePoint now,
                                    int* result) {
  sd_bus* bus = nullptr;
  *result = sd_bus_new(&bus);
  if (*result < 0) return nullptr;
  auto peer = std::make_shared<Peer>(Kind::Bus, bus, objects, options);
  *result = sd_bus_set_address(bus, address.c_str());
  if (*result >= 0) *result = sd_bus_set_bus_client(bus, 1);
  if (*result >= 0) *result = sd_bus_set_method_call_timeout(bus, kBusAnswerMicroseconds);
  if (*result >= 0) *result = sd_bus_start(bus);
  if (*result >= 0 && !peer->_publish()) *result = -ENOMEM;
  if (*result < 0) return nullptr;
  peer->_authenticationDeadline = now + options.authenticationLimit;
  peer->_requestName();
  return peer;
}

Peer::Peer(Kind kind, sd_bus* bus, ServedObjects objects, const DoorOptions& options)
    : _kind(kind),
      _bus(bus),
      _objects(objects),
      _maximumQueuedMessages(options.maximumQueuedMessages),
      _maximumQueuedBytes(options.maximumQueuedBytes) {}

Peer::~Peer() {
  // Not flushed: that would wait for the peer.
  sd_bus_close(_bus);
  sd_bus_unref(_bus);
}

bool Peer::_publish() {
  if (_kind == Kind::Socket &&
      sd_bus_add_object_vtable(_bus, nullptr, GreetingObject::kPath, GreetingObject::kInterface,
                               GreetingObject::vtable(), nullptr) < 0) {
    return false;
  }
  return sd_bus_add_object_vtable(_bus, nullptr, kDoorPath, ReceiverObject::kInterface,
                                  ReceiverObject::vtable(), this) >= 0 &&
         sd_bus_add_object_vtable(_bus, nullptr, kDoorPath, BoxObject::kInterface,
                                  BoxObject::vtable(), this) >= 0 &&
         sd_bus_add_object_vtable(_bus, nullptr, kDoorPath, NotificationsObject::kInterface,
                                  NotificationsObject::vtable(), this) >= 0;
}

void Peer::_requestName() {
  if (sd_bus_request_name_async(_bus, nullptr, kDoorBusName, SD_BUS_NAME_QUEUE, nameAnswered,
                                nullptr) < 0) {
    TVSLogNotice(kDoorLog, "The name %@ cannot be asked for on the message bus", kDoorBusName);
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
    // CLOCK_MONOTONIC, which is the steady clock's.
    const platform::TimePoint due{std::chrono::microseconds(microseconds)};
    deadline = deadline ? std::min(*deadline, due) : due;
  }
  return deadline;
}

Peer::Turn Peer::process(platform::TimePoint now) {
  const int result = sd_bus_process(_bus, nullptr);
  if (result < 0) {
    const bool ended = result == -ENOTCONN || result == -ECONNRESET || result == -EPIPE;
    const char* reason = _ready ? "it sent what is no message" : "it could not be authenticated";
    doom(ended || _kind == Kind::Bus ? nullptr : reason);
    return Turn::Idle;
  }
  if (sd_bus_is_open(_bus) <= 0) {
    doom(nullptr);
    return Turn::Idle;
  }
  if (_authenticationDeadline && sd_bus_is_ready(_bus) > 0) {
    _authenticationDeadline.reset();
    _ready = true;
  }
  // What it sent in time counts, however late it is read.
  if (_authenticationDeadline && result == 0 && now >= *_authenticationDeadline) {
    doom("it did not authenticate in time");
  }
  _checkQueue();
  return result > 0 && !_doomed ? Turn::Busy : Turn::Idle;
}

void Peer::send(sd_bus_message* message, std::size_t bytes) {
  // A failure is the end of the connection, which process() is told too.
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
    doom("it does not read what it is sent");
  }
}

void Peer::doom(const char* reason) {
  if (std::exchange(_doomed, true) || !reason) return;
  TVSLogNotice(kDoorLog, "A connection is closed: %@", reason);
}

bool Peer::admits(sd_bus_message* call) {
  if (_kind == Kind::Socket) return true;
  const char* sender = sd_bus_message_get_sender(call);
  if (!sender) return false;
  if (const auto known = _admitted.find(sender); known != _admitted.end()) return known->second;

  sd_bus_creds* credentials = nullptr;
  uid_t user = 0;
  const bool admitted = sd_bus_query_sender_creds(call, SD_BUS_CREDS_EUID, &credentials) >= 0 &&
                        sd_bus_creds_get_euid(credentials, &user) >= 0 &&
                        (user == 0 || user == geteuid());
  sd_bus_creds_unref(credentials);
  if (!admitted) TVSLogNotice(kDoorLog, "Calls of %@ are refused: another user", sender);
  if (_admitted.size() >= kMaximumRememberedSenders) _admitted.clear();
  _admitted.emplace(sender, admitted);
  return admitted;
}

}  // namespace box
