#pragma once

#include <functional>
#include <memory>
#include <string>

#include <systemd/sd-bus.h>

#include "platform/foundation/queues/Clock.h"

namespace box {

// Calls and matches on a message bus, none of which waits. Each is alive as long as the slot that
// it gives back: dropping that means not to be called any more.
//
// Threads: that of the connection.

struct BusSlotUnref {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using BusSlot = std::unique_ptr<sd_bus_slot, BusSlotUnref>;

/// Is given a signal, or the reply to a call, which may be an error
/// (sd_bus_message_is_method_error).
using BusHandler = std::function<void(sd_bus_message* message)>;

struct BusMessageUnref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using BusMessage = std::unique_ptr<sd_bus_message, BusMessageUnref>;

/// Where a method or a signal is.
struct BusMember {
  const char* service;
  const char* path;
  const char* interface;
  const char* member;
};

/// A call to be filled with arguments and given to sendCall(). Null where the bus takes none.
BusMessage makeCall(sd_bus* bus, const BusMember& method);

/// How long an answer is waited for.
inline constexpr std::chrono::seconds kBusAnswerLimit{5};

/// Sends a call. The handler is called once, with an error after the limit too. A null slot: it
/// could not be sent, and there will be no answer.
BusSlot sendCall(sd_bus* bus, const BusMessage& call, BusHandler handler,
                 platform::Duration limit = kBusAnswerLimit);
/// Without waiting for an answer.
void sendCall(sd_bus* bus, const BusMessage& call);

BusSlot matchSignal(sd_bus* bus, const BusMember& signal, BusHandler handler);

/// Follows whether somebody has `name` on the bus. Told once it is known, and at every change of
/// owner.
class BusNameWatch {
 public:
  BusNameWatch() = default;
  BusNameWatch(sd_bus* bus, const std::string& name, std::function<void(bool present)> tell);

 private:
  BusSlot _match;
  BusSlot _question;
};

/// The text of an error reply, for the log.
std::string busErrorText(sd_bus_message* reply);

}  // namespace box
