#include "box/services/dbus/NotificationsObject.h"

#include "box/services/dbus/Peer.h"
#include "box/services/dbus/Reply.h"

namespace box {

namespace {

int getState(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  const char* name = nullptr;
  if (const int result = sd_bus_message_read_basic(call, 's', &name); result < 0) return result;
  Reply reply(call);
  reply->appendState(peer.objects().notifications.state(name));
  return reply.send(peer);
}

const sd_bus_vtable kNotificationsVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS("GetState", SD_BUS_ARGS("s", name), SD_BUS_RESULT("t", state), getState,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_ARGS("Posted", SD_BUS_ARGS("s", name), 0),
    SD_BUS_SIGNAL_WITH_ARGS("Distributed", SD_BUS_ARGS("s", name, "a{sv}", info), 0),
    SD_BUS_VTABLE_END,
};

}  // namespace

const sd_bus_vtable* NotificationsObject::vtable() { return kNotificationsVtable; }

void NotificationsObject::setState(std::string_view name, std::uint64_t state) {
  const std::lock_guard lock(_mutex);
  _states.insert_or_assign(std::string(name), state);
}

std::uint64_t NotificationsObject::state(std::string_view name) const {
  const std::lock_guard lock(_mutex);
  const auto found = _states.find(name);
  return found == _states.end() ? 0 : found->second;
}

}  // namespace box
