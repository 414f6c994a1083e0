#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include <systemd/sd-bus.h>

namespace box {

/// The D-Bus interface of the notifications. GetState returns the state of a name to peers that
/// connected after the signal. Threads: the states are thread-safe; calls run on the server's
/// thread.
class NotificationsObject {
 public:
  static constexpr const char* kInterface = "quorin.vorlane.Notifications1";

  /// For sd_bus_add_object_vtable(), with a Peer as its user data.
  static const sd_bus_vtable* vtable();

  void setState(std::string_view name, std::uint64_t state);
  /// Returns 0 for an unknown name.
  std::uint64_t state(std::string_view name) const;

 private:
  mutable std::mutex _mutex;
  std::map<std::string, std::uint64_t, std::less<>> _states;  // protected by _mutex
};

}  // namespace box
