#pragma once

#include <cstdint>
#include <optional>

#include "box/services/bus/BusCalls.h"
#include "box/services/bus/BusConnection.h"

namespace box {

/// Inhibits the screen saver of the desktop (org.freedesktop.ScreenSaver) while that is wanted,
/// whenever one is available. Threads: the service thread, or any thread before it has started and
/// after it has ended.
class ScreenSaver final : public BusConnection::Client {
 public:
  static constexpr const char* kService = "org.freedesktop.ScreenSaver";

  void setInhibited(bool inhibited);
  /// Simulates user activity, which ends the screen saver and turns the display on.
  void reportActivity();

  void busDidConnect(sd_bus* bus) override;
  void busDidDisconnect() override;

 private:
  void _setPresent(bool present);
  void _update();

  bool _wantsInhibition = false;
  sd_bus* _bus = nullptr;
  BusNameWatch _name;
  bool _isPresent = false;
  BusSlot _pendingCall;
  std::optional<std::uint32_t> _cookie;
  bool _loggedRefusal = false;
};

}  // namespace box
