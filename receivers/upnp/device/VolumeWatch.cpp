#include "receivers/upnp/device/VolumeWatch.h"

#include <string>
#include <utility>

namespace upnp {

namespace {

struct VariantUnref {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
using Variant = std::unique_ptr<GVariant, VariantUnref>;

/// GIO would start a bus if it found none.
std::string sessionBusAddress() {
  if (const char* const address = g_getenv("DBUS_SESSION_BUS_ADDRESS")) return address;
  const std::string path = std::string(g_get_user_runtime_dir()) + "/bus";
  return g_file_test(path.c_str(), G_FILE_TEST_EXISTS) ? "unix:path=" + path : std::string();
}

bool hasKey(GVariant* dictionary, const char* key) {
  return Variant(g_variant_lookup_value(dictionary, key, nullptr)) != nullptr;
}

}  // namespace

VolumeWatch::VolumeWatch(std::function<void(double)> changed)
    : _changed(std::move(changed)), _cancellable(g_cancellable_new()) {
  const std::string address = sessionBusAddress();
  if (address.empty()) return;
  const auto flags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  g_dbus_connection_new_for_address(address.c_str(), flags, nullptr, _cancellable.get(), _connected,
                                    this);
}

VolumeWatch::~VolumeWatch() {
  g_cancellable_cancel(_cancellable.get());
  if (_subscription) g_dbus_connection_signal_unsubscribe(_bus.get(), _subscription);
}

void VolumeWatch::_connected(GObject*, GAsyncResult* result, gpointer data) {
  GError* error = nullptr;
  ObjectRef<GDBusConnection> bus(g_dbus_connection_new_for_address_finish(result, &error));
  const OwnedError owned(error);
  // After a cancellation the object is gone.
  if (!bus) return;
  auto& self = *static_cast<VolumeWatch*>(data);
  self._bus = std::move(bus);
  self._subscription = g_dbus_connection_signal_subscribe(
      self._bus.get(), "org.mpris.MediaPlayer2.tvvorlane", "org.freedesktop.DBus.Properties",
      "PropertiesChanged", "/org/mpris/MediaPlayer2", "org.mpris.MediaPlayer2.Player",
      G_DBUS_SIGNAL_FLAGS_NONE, _propertiesChanged, &self, nullptr);
}

void VolumeWatch::_propertiesChanged(GDBusConnection*, const char*, const char*, const char*,
                                     const char*, GVariant* parameters, gpointer data) {
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sa{sv}as)"))) return;
  const Variant changed(g_variant_get_child_value(parameters, 1));
  // A session that begins or ends changes its volume together with these.
  if (hasKey(changed.get(), "PlaybackStatus") || hasKey(changed.get(), "CanPlay")) return;
  double volume = 0;
  if (g_variant_lookup(changed.get(), "Volume", "d", &volume)) {
    static_cast<VolumeWatch*>(data)->_changed(volume);
  }
}

}  // namespace upnp
