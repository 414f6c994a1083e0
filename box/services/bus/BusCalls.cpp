#include "box/services/bus/BusCalls.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace box {

namespace {

constexpr BusMember kBusItself{"org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus", nullptr};

int handle(sd_bus_message* message, void* handler, sd_bus_error*) {
  (*static_cast<BusHandler*>(handler))(message);
  return 0;
}

void destroyHandler(void* handler) { delete static_cast<BusHandler*>(handler); }

/// Transfers the handler to the slot.
BusSlot adopt(int result, sd_bus_slot* slot, std::unique_ptr<BusHandler> handler) {
  if (result < 0) return nullptr;
  sd_bus_slot_set_destroy_callback(slot, destroyHandler);
  static_cast<void>(handler.release());
  return BusSlot(slot);
}

BusSlot addMatch(sd_bus* bus, const std::string& rule, BusHandler handler) {
  auto handlerOwner = std::make_unique<BusHandler>(std::move(handler));
  sd_bus_slot* slot = nullptr;
  const int result =
      sd_bus_add_match_async(bus, &slot, rule.c_str(), handle, nullptr, handlerOwner.get());
  return adopt(result, slot, std::move(handlerOwner));
}

}  // namespace

BusMessage makeCall(sd_bus* bus, const BusMember& method) {
  sd_bus_message* message = nullptr;
  if (!bus || sd_bus_message_new_method_call(bus, &message, method.service, method.path,
                                             method.interface, method.member) < 0) {
    return nullptr;
  }
  return BusMessage(message);
}

BusSlot sendCall(sd_bus* bus, const BusMessage& call, BusHandler handler,
                 platform::Duration limit) {
  if (!call) return nullptr;
  auto handlerOwner = std::make_unique<BusHandler>(std::move(handler));
  const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(limit).count();
  sd_bus_slot* slot = nullptr;
  const int result = sd_bus_call_async(bus, &slot, call.get(), handle, handlerOwner.get(),
                                       static_cast<std::uint64_t>(microseconds));
  return adopt(result, slot, std::move(handlerOwner));
}

void sendCall(sd_bus* bus, const BusMessage& call) {
  if (!call || sd_bus_message_set_expect_reply(call.get(), 0) < 0) return;
  // If it fails, the connection is broken; process() of its owner detects that.
  static_cast<void>(sd_bus_send(bus, call.get(), nullptr));
}

BusSlot matchSignal(sd_bus* bus, const BusMember& signal, BusHandler handler) {
  return addMatch(bus,
                  std::string("type='signal',sender='") + signal.service + "',path='" +
                      signal.path + "',interface='" + signal.interface + "',member='" +
                      signal.member + "'",
                  std::move(handler));
}

BusNameWatch::BusNameWatch(sd_bus* bus, const std::string& name,
                           std::function<void(bool present)> onChange) {
  // Shared by the signal and the reply, which may arrive in any order.
  const auto report = [onChange = std::move(onChange),
                       reported = std::make_shared<std::optional<bool>>()](bool present) {
    if (*reported == present) return;
    *reported = present;
    onChange(present);
  };
  // operator+ here triggers a false -Wrestrict warning of GCC 14.
  std::string rule = "type='signal',sender='";
  rule.append(kBusItself.service).append("',member='NameOwnerChanged',arg0='");
  rule.append(name).append("'");
  // Added before the call, so that no change between them is missed.
  _match = addMatch(bus, rule, [report](sd_bus_message* message) {
    const char* ignored = nullptr;
    const char* before = nullptr;
    const char* owner = nullptr;
    if (sd_bus_message_read(message, "sss", &ignored, &before, &owner) < 0) return;
    // A new owner has no state of the old one, so report the name as absent in between.
    if (*before != '\0') report(false);
    if (*owner != '\0') report(true);
  });
  BusMember method = kBusItself;
  method.member = "NameHasOwner";
  const BusMessage call = makeCall(bus, method);
  if (!call || sd_bus_message_append(call.get(), "s", name.c_str()) < 0) return;
  _pendingCall = sendCall(bus, call, [report](sd_bus_message* reply) {
    int present = 0;
    report(sd_bus_message_read(reply, "b", &present) >= 0 && present != 0);
  });
}

std::string busErrorText(sd_bus_message* reply) {
  const sd_bus_error* const error = sd_bus_message_get_error(reply);
  if (!error || !error->name) return "unexpected reply";
  return error->message && *error->message != '\0' ? error->message : error->name;
}

}  // namespace box
