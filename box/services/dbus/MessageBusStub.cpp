#include "box/services/dbus/MessageBusStub.h"

#include <cstdint>
#include <cstring>

#include "box/services/dbus/DBusNames.h"

namespace box {

namespace {

// The same for all clients: each is the only one on its connection.
constexpr const char* kClientName = ":1.1";

int hello(sd_bus_message* call, void*, sd_bus_error*) {
  return sd_bus_reply_method_return(call, "s", kClientName);
}

int matchRule(sd_bus_message* call, void*, sd_bus_error*) {
  return sd_bus_reply_method_return(call, "");
}

int nameOwner(sd_bus_message* call, void*, sd_bus_error*) {
  const char* name = nullptr;
  if (const int result = sd_bus_message_read_basic(call, 's', &name); result < 0) return result;
  if (std::strcmp(name, kWellKnownName) != 0) {
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_NAME_HAS_NO_OWNER, "No owner of %s", name);
  }
  return sd_bus_reply_method_return(call, "s", kServerName);
}

constexpr std::uint64_t kGreetingFlags = SD_BUS_VTABLE_UNPRIVILEGED;

const sd_bus_vtable kGreetingVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS("Hello", SD_BUS_NO_ARGS, SD_BUS_RESULT("s", name), hello,
                            kGreetingFlags),
    SD_BUS_METHOD_WITH_ARGS("AddMatch", SD_BUS_ARGS("s", rule), SD_BUS_NO_RESULT, matchRule,
                            kGreetingFlags),
    SD_BUS_METHOD_WITH_ARGS("RemoveMatch", SD_BUS_ARGS("s", rule), SD_BUS_NO_RESULT, matchRule,
                            kGreetingFlags),
    SD_BUS_METHOD_WITH_ARGS("GetNameOwner", SD_BUS_ARGS("s", name), SD_BUS_RESULT("s", owner),
                            nameOwner, kGreetingFlags),
    SD_BUS_VTABLE_END,
};

}  // namespace

const sd_bus_vtable* MessageBusStub::vtable() { return kGreetingVtable; }

}  // namespace box
