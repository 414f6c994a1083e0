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

/// The slot owns the handler from now on.
BusSlot own(int result, sd_bus_slot* slot, std::unique_ptr<BusHandler> handler) {
  if (result < 0) return nullptr;
  sd_bus_slot_set_destroy_callback(slot, destroyHandler);
  static_cast<void>(handler.release());
  return BusSlot(slot);
}

BusSlot addMatch(sd_bus* bus, const std::string& rule, BusHandler handler) {
  auto owned = std::make_unique<BusHandler>(std::move(handler));
  sd_bus_slot* slot = nullptr;
  const int result = sd_bus_add_match_async(bus, &slot, rule.c_str(), handle, nullptr, owned.get());
  return own(result, slot, std::move(owned));
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
  auto owned = std::make_unique<BusHandler>(std::move(handler));
  const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(limit).count();
  sd_bus_slot* slot = nullptr;
  const int result = sd_bus_call_async(bus, &slot, call.get(), handle, owned.get(),
                                       static_cast<std::uint64_t>(microseconds));
  return own(result, slot, std::move(owned));
}

void sendCall(sd_bus* bus, const BusMessage& call) {
  if (!call || sd_bus_message_set_expect_reply(call.get(), 0) < 0) return;
  // A failure is the end of the connection, which is noticed elsewhere.
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
                           std::function<void(bool present)> tell) {
  // Shared by the signal and the answer, either of which may be first.
  const auto tellOnce = [tell = std::move(tell),
                         told = std::make_shared<std::optional<bool>>()](bool present) {
    if (*told == present) return;
    *told = present;
    tell(present);
  };
  // GCC 14 warns of a sum of these texts, as if it were longer than its memory.
  std::string rule = "type='signal',sender='";
  rule.append(kBusItself.service).append("',member='NameOwnerChanged',arg0='");
  rule.append(name).append("'");
  // First, so that no change falls between the question and it.
  _match = addMatch(bus, rule, [tellOnce](sd_bus_message* message) {
    const char* ignored = nullptr;
    const char* before = nullptr;
    const char* owner = nullptr;
    if (sd_bus_message_read(message, "sss", &ignored, &before, &owner) < 0) return;
    // One who takes over starts from nothing.
    if (*before != '\0') tellOnce(false);
    if (*owner != '\0') tellOnce(true);
  });
  BusMember question = kBusItself;
  question.member = "NameHasOwner";
  const BusMessage call = makeCall(bus, question);
  if (!call || sd_bus_message_append(call.get(), "s", name.c_str()) < 0) return;
  _question = sendCall(bus, call, [tellOnce](sd_bus_message* reply) {
    int present = 0;
    tellOnce(sd_bus_message_read(reply, "b", &present) >= 0 && present != 0);
  });
}

std::string busErrorText(sd_bus_message* reply) {
  const sd_bus_error* const error = sd_bus_message_get_error(reply);
  if (!error || !error->name) return "an answer of another form";
  return error->message && *error->message != '\0' ? error->message : error->name;
}

}  // namespace box
