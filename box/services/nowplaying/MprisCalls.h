#pragma once

#include <cstdint>

#include <systemd/sd-bus.h>

namespace box {

class MprisObject;

/// The methods and properties of the MPRIS interfaces, for sd_bus_add_object_vtable() with an
/// MprisObject as user data.
///
/// As MPRIS specifies, commands that cannot be executed are accepted and ignored.
struct MprisCalls {
  static const sd_bus_vtable* root();
  static const sd_bus_vtable* player();
  /// Converts to the time unit of MPRIS. Returns 0 for a number that is not finite.
  static std::int64_t microseconds(double seconds);

 private:
  struct Player;
};

}  // namespace box
