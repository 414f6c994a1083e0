#pragma once

#include <systemd/sd-bus.h>

namespace box {

/// A minimal org.freedesktop.DBus object for peer-to-peer connections. Some clients (gdbus, busctl,
/// several language bindings) treat every connection as a message bus and call Hello and AddMatch
/// first. Match rules have no effect: each peer gets all signals.
struct MessageBusStub {
  static constexpr const char* kPath = "/org/freedesktop/DBus";
  static constexpr const char* kInterface = "org.freedesktop.DBus";
  static const sd_bus_vtable* vtable();
};

}  // namespace box
