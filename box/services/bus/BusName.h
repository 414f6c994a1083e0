#pragma once

#include <string>

#include "box/services/bus/BusCalls.h"

namespace box {

/// A well-known name that this process has, or waits for, on a message bus. While another process
/// has it, one line says so, and the name comes over when that one gives it up.
///
/// Threads: that of the connection.
class BusName {
 public:
  explicit BusName(std::string name) : _name(std::move(name)) {}

  /// Asks for it on this bus.
  void request(sd_bus* bus);
  /// Gives it up.
  void release();
  /// The bus is gone, and the name with it.
  void forget();
  bool isRequested() const { return _bus != nullptr; }

 private:
  const std::string _name;
  sd_bus* _bus = nullptr;
  BusSlot _question;
};

}  // namespace box
