#pragma once

#include <functional>
#include <memory>
#include <string>

#include <systemd/sd-bus.h>

#include "platform/foundation/queues/Clock.h"

namespace box {

// Asynchronous calls and signal matches on a message bus. Dropping a slot cancels its call or
// match.
//
// Threads: that of the connection.

struct BusSlotUnref {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using BusSlot = std::unique_ptr<sd_bus_slot, BusSlotUnref>;

/// Called with a signal, or with the reply to a call. A reply may be an error
/// (sd_bus_message_is_method_error()).
using BusHandler = std::function<void(sd_bus_message* message)>;

struct BusMessageUnref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using BusMessage = std::unique_ptr<sd_bus_message, BusMessageUnref>;

struct BusMember {
  const char* service;
  const char* path;
  const char* interface;
  const char* member;
};

/// Creates a call; append arguments, then pass it to sendCall(). Returns null if `bus` is null or
/// out of memory.
BusMessage makeCall(sd_bus* bus, const BusMember& method);

inline constexpr std::chrono::seconds kBusReplyTimeout{5};

/// Sends a call. The handler is called once, with the reply, an error or a timeout error. Returns
/// null if the call could not be sent; then the handler is not called.
BusSlot sendCall(sd_bus* bus, const BusMessage& call, BusHandler handler,
                 platform::Duration limit = kBusReplyTimeout);
/// Sends a call that expects no reply.
void sendCall(sd_bus* bus, const BusMessage& call);

BusSlot matchSignal(sd_bus* bus, const BusMember& signal, BusHandler handler);

/// Watches whether `name` has an owner. Calls `onChange` once the initial state is known, and at
/// every change of the owner.
class BusNameWatch {
 public:
  BusNameWatch() = default;
  BusNameWatch(sd_bus* bus, const std::string& name, std::function<void(bool present)> onChange);

 private:
  BusSlot _match;
  BusSlot _pendingCall;
};

std::string busErrorText(sd_bus_message* reply);

}  // namespace box
