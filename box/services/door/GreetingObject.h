#pragma once

#include <systemd/sd-bus.h>

namespace box {

/// What clients that take every D-Bus connection for a message bus (gdbus, busctl and several
/// language bindings) ask for before they call anything: a unique name, and match rules, which all
/// peers of the socket are given anyway.
struct GreetingObject {
  static constexpr const char* kPath = "/org/freedesktop/DBus";
  static constexpr const char* kInterface = "org.freedesktop.DBus";
  static const sd_bus_vtable* vtable();
};

}  // namespace box
