#include "receivers/upnp/device/VolumeWatch.h"

#include <optional>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

/// A session bus of its own, with the name of the box.
class UpnpVolumeWatch : public ::testing::Test {
 protected:
  UpnpVolumeWatch() {
    g_test_dbus_up(_dbus.get());
    const auto flags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    bus.reset(g_dbus_connection_new_for_address_sync(g_test_dbus_get_bus_address(_dbus.get()),
                                                     flags, nullptr, nullptr, nullptr));
    const upnp::OwnedText name(g_strdup("org.mpris.MediaPlayer2.tvvorlane"));
    GVariant* const reply = g_dbus_connection_call_sync(
        bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", name.get(), 0U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, nullptr);
    if (reply) g_variant_unref(reply);
  }
  ~UpnpVolumeWatch() override {
    bus.reset();
    g_test_dbus_down(_dbus.get());
  }

  /// Sends changed properties, as the text format of GVariant writes them.
  void change(const char* properties) {
    GVariant* const changed =
        g_variant_parse(G_VARIANT_TYPE("a{sv}"), properties, nullptr, nullptr, nullptr);
    g_dbus_connection_emit_signal(
        bus.get(), nullptr, "/org/mpris/MediaPlayer2", "org.freedesktop.DBus.Properties",
        "PropertiesChanged",
        g_variant_new("(s@a{sv}as)", "org.mpris.MediaPlayer2.Player", changed, nullptr), nullptr);
    g_variant_unref(changed);
    g_dbus_connection_flush_sync(bus.get(), nullptr, nullptr);
  }

 private:
  upnp::ObjectRef<GTestDBus> _dbus{g_test_dbus_new(G_TEST_DBUS_NONE)};

 protected:
  upnp::ObjectRef<GDBusConnection> bus;
};

TEST_F(UpnpVolumeWatch, ReportsVolumesThatChangeAlone) {
  std::vector<double> heard;
  upnp::VolumeWatch watch([&](double volume) { heard.push_back(volume); });
  // The watch connects meanwhile. Its bus keeps the order of the signals.
  while (heard.empty()) {
    change("{'Volume': <0.25>}");
    g_main_context_iteration(nullptr, FALSE);
  }
  heard.clear();
  change("{'Volume': <1.0>, 'PlaybackStatus': <'Stopped'>}");
  change("{'Volume': <'loud'>}");
  change("{'Rate': <2.0>}");
  change("{'Volume': <0.75>}");
  while (heard.empty() || heard.back() != 0.75) g_main_context_iteration(nullptr, TRUE);
  std::erase(heard, 0.25);
  EXPECT_THAT(heard, testing::ElementsAre(0.75));
}

}  // namespace
