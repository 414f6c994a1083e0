#pragma once

#include <functional>

#include <gio/gio.h>

#include "receivers/upnp/device/Glib.h"

namespace upnp {

/// Reports changes of the session's volume by other programs, such as media keys or playerctl. The
/// box publishes the volume on the session bus (MPRIS), and the receiver interface does not.
/// Without a session bus at the start nothing is reported.
class VolumeWatch {
 public:
  /// `changed` gets the volume from 0 to 1.
  explicit VolumeWatch(std::function<void(double)> changed);
  VolumeWatch(const VolumeWatch&) = delete;
  VolumeWatch& operator=(const VolumeWatch&) = delete;
  ~VolumeWatch();

 private:
  static void _connected(GObject*, GAsyncResult* result, gpointer data);
  static void _propertiesChanged(GDBusConnection*, const char*, const char*, const char*,
                                 const char*, GVariant* parameters, gpointer data);

  const std::function<void(double)> _changed;
  ObjectRef<GCancellable> _cancellable;
  ObjectRef<GDBusConnection> _bus;
  guint _subscription = 0;
};

}  // namespace upnp
