#pragma once

#include <cstdint>
#include <optional>

#include "box/services/bus/BusCalls.h"
#include "box/services/bus/BusConnection.h"

namespace box {

/// The desktop's screen saver, where there is a desktop: kept away while that is wanted, and
/// whenever one comes.
///
/// Threads: the service thread, or while that does not run.
class ScreenSaver final : public BusConnection::Client {
 public:
  static constexpr const char* kService = "org.freedesktop.ScreenSaver";

  void setKeptAway(bool keptAway);
  /// Somebody is there: it goes, and the display comes on.
  void reportActivity();

  void busDidConnect(sd_bus* bus) override;
  void busDidDisconnect() override;

 private:
  void _setPresent(bool present);
  void _update();

  bool _isKeptAway = false;
  sd_bus* _bus = nullptr;
  BusNameWatch _name;
  bool _isPresent = false;
  BusSlot _question;
  /// What it is kept away by.
  std::optional<std::uint32_t> _cookie;
  bool _saidRefused = false;
};

}  // namespace box
