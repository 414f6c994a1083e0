#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include <systemd/sd-bus.h>

namespace box {

/// The notifications' interface on the bus: what is posted goes out as a signal to every peer, and
/// whoever comes later asks for the state that was last set for a name.
///
/// Threads: any for the states; the calls are the door's.
class NotificationsObject {
 public:
  static constexpr const char* kInterface = "quorin.vorlane.Notifications1";

  /// For sd_bus_add_object_vtable(), with a Peer as its user data.
  static const sd_bus_vtable* vtable();

  void setState(std::string_view name, std::uint64_t state);
  /// 0 for a name that has none.
  std::uint64_t state(std::string_view name) const;

 private:
  mutable std::mutex _mutex;
  std::map<std::string, std::uint64_t, std::less<>> _states;  // protected by _mutex
};

}  // namespace box
