#include "box/services/bus/BusName.h"

#include <cstdint>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

namespace {
// Reply of RequestName.
constexpr std::uint32_t kInQueue = 2;
constexpr BusMember kRequest{"org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus", "RequestName"};
constexpr BusMember kRelease{"org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus", "ReleaseName"};
}  // namespace

void BusName::request(sd_bus* bus) {
  if (_bus) return;
  const BusMessage call = makeCall(bus, kRequest);
  // No flags: do not replace the owner, do not allow replacement, wait in the queue.
  if (!call || sd_bus_message_append(call.get(), "su", _name.c_str(), std::uint32_t{0}) < 0) return;
  _bus = bus;
  _pendingCall = sendCall(bus, call, [this](sd_bus_message* reply) {
    std::uint32_t result = 0;
    if (sd_bus_message_is_method_error(reply, nullptr) > 0) {
      TVSLogNotice(TVSSystemLog, "The message bus rejected the name %@: %@", _name,
                   busErrorText(reply));
    } else if (sd_bus_message_read(reply, "u", &result) >= 0 && result == kInQueue) {
      TVSLogNotice(TVSSystemLog, "Another process owns the name %@ on the message bus", _name);
    }
  });
}

void BusName::release() {
  if (!_bus) return;
  const BusMessage call = makeCall(_bus, kRelease);
  if (call && sd_bus_message_append(call.get(), "s", _name.c_str()) >= 0) sendCall(_bus, call);
  didDisconnect();
}

void BusName::didDisconnect() {
  _bus = nullptr;
  _pendingCall.reset();
}

}  // namespace box
