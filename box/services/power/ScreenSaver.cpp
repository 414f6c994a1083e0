#include "box/services/power/ScreenSaver.h"

#include <utility>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

namespace {
constexpr BusMember member(const char* name) {
  return {ScreenSaver::kService, "/org/freedesktop/ScreenSaver", ScreenSaver::kService, name};
}
}  // namespace

void ScreenSaver::busDidConnect(sd_bus* bus) {
  _bus = bus;
  _name = BusNameWatch(bus, kService, [this](bool present) { _setPresent(present); });
}

void ScreenSaver::busDidDisconnect() {
  _setPresent(false);
  _name = {};
  _bus = nullptr;
}

void ScreenSaver::_setPresent(bool present) {
  _isPresent = present;
  _pendingCall.reset();
  _cookie.reset();
  _loggedRefusal = false;
  _update();
}

void ScreenSaver::setInhibited(bool inhibited) {
  _wantsInhibition = inhibited;
  _update();
}

void ScreenSaver::_update() {
  // A pending Inhibit call must be finished first, because its cookie is not known yet.
  if (!_isPresent || _pendingCall || _wantsInhibition == _cookie.has_value()) return;
  if (!_wantsInhibition) {
    const BusMessage call = makeCall(_bus, member("UnInhibit"));
    const auto cookie = *std::exchange(_cookie, std::nullopt);
    if (call && sd_bus_message_append(call.get(), "u", cookie) >= 0) sendCall(_bus, call);
    return;
  }
  const BusMessage call = makeCall(_bus, member("Inhibit"));
  if (!call || sd_bus_message_append(call.get(), "ss", "TVVorlane", "Playback is active") < 0)
    return;
  _pendingCall = sendCall(_bus, call, [this](sd_bus_message* reply) {
    _pendingCall.reset();
    std::uint32_t cookie = 0;
    if (sd_bus_message_read(reply, "u", &cookie) >= 0) {
      _cookie = cookie;
      _update();
    } else if (!std::exchange(_loggedRefusal, true)) {
      TVSLogNotice(TVSSystemLog, "Cannot inhibit the screen saver: %@", busErrorText(reply));
    }
  });
}

void ScreenSaver::reportActivity() {
  if (_isPresent) sendCall(_bus, makeCall(_bus, member("SimulateUserActivity")));
}

}  // namespace box
