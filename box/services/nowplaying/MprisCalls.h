#pragma once

#include <cstdint>

#include <systemd/sd-bus.h>

namespace box {

class MprisObject;

/// The methods and properties of the MPRIS interfaces, for sd_bus_add_object_vtable() with an
/// MprisObject as the user data.
///
/// Commands that make no sense now are accepted and do nothing, as the interface wants it.
struct MprisCalls {
  static const sd_bus_vtable* root();
  static const sd_bus_vtable* player();
  /// The unit of the interface; 0 for what cannot be told.
  static std::int64_t microseconds(double seconds);

 private:
  struct Player;
};

}  // namespace box
