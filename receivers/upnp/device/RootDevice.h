#pragma once

#include <string>

#include <libgupnp/gupnp.h>

#include "receivers/upnp/device/Actions.h"
#include "receivers/upnp/device/Glib.h"
#include "receivers/upnp/device/HttpLimits.h"

namespace upnp {

/// What all network interfaces of the renderer have in common.
struct DeviceServices {
  ActionTable transport;
  ActionTable rendering;
  ActionTable connections;
  LastChange& transportChanges;
  LastChange& renderingChanges;
  Clock& clock;
  Subscriptions& subscriptions;
};

/// The renderer on one network interface.
class RootDevice {
 public:
  /// Null if the device cannot be announced; the log has the reason. `folder` has the descriptions.
  static std::unique_ptr<RootDevice> make(GUPnPContext* context, const std::string& folder,
                                          DeviceServices& services);
  RootDevice(const RootDevice&) = delete;
  RootDevice& operator=(const RootDevice&) = delete;
  ~RootDevice();

  /// Returns whether the device is announced. It is after GUPnP has read the service descriptions,
  /// because the first events would be empty until then.
  bool isAnnounced() const { return _isAnnounced; }
  void notifyTransport(const std::string& document) { _notify(_transport.get(), document); }
  void notifyRendering(const std::string& document) { _notify(_rendering.get(), document); }

 private:
  RootDevice(GUPnPContext* context, ObjectRef<GUPnPRootDevice> device, DeviceServices& services);

  ObjectRef<GUPnPService> _service(const char* name, const ActionTable& actions);
  void _introspect();
  static void _introspected(GObject* service, GAsyncResult* result, gpointer data);
  static void _notify(GUPnPService* service, const std::string& document);
  static void _invoked(GUPnPService* service, GUPnPServiceAction* action, gpointer data);
  static void _queried(GUPnPService* service, const char* variable, GValue* value, gpointer data);

  DeviceServices& _services;
  HttpLimits _limits;
  ObjectRef<GUPnPRootDevice> _device;
  ObjectRef<GUPnPService> _transport;
  ObjectRef<GUPnPService> _rendering;
  ObjectRef<GUPnPService> _connections;
  ObjectRef<GCancellable> _cancellable;
  std::size_t _introspectedCount = 0;
  bool _isAnnounced = false;
};

}  // namespace upnp
