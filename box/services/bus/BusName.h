#pragma once

#include <string>

#include "box/services/bus/BusCalls.h"

namespace box {

/// A well-known name that this process owns, or is queued for, on a message bus. If another process
/// owns it, that is logged once; the bus assigns the name when that process releases it. Threads:
/// that of the connection.
class BusName {
 public:
  explicit BusName(std::string name) : _name(std::move(name)) {}

  void request(sd_bus* bus);
  void release();
  /// The bus was disconnected, so the name is lost.
  void didDisconnect();
  bool isRequested() const { return _bus != nullptr; }

 private:
  const std::string _name;
  sd_bus* _bus = nullptr;
  BusSlot _pendingCall;
};

}  // namespace box
