#include "receivers/upnp/device/RootDevice.h"

#include <iterator>
#include <string_view>
#include <utility>

#include "receivers/upnp/device/Log.h"

namespace upnp {

std::unique_ptr<RootDevice> RootDevice::make(GUPnPContext* context, const std::string& folder,
                                             DeviceServices& services) {
  GError* error = nullptr;
  ObjectRef<GUPnPRootDevice> device(
      gupnp_root_device_new(context, "Device.xml", folder.c_str(), &error));
  const OwnedError owned(error);
  if (!device) {
    log("Cannot serve on " + textOf(gssdp_client_get_interface(GSSDP_CLIENT(context))) + ": " +
        textOf(error ? error->message : nullptr));
    return nullptr;
  }
  return std::unique_ptr<RootDevice>(new RootDevice(context, std::move(device), services));
}

RootDevice::RootDevice(GUPnPContext* context, ObjectRef<GUPnPRootDevice> device,
                       DeviceServices& services)
    : _services(services),
      _limits(gupnp_context_get_server(context), services.clock, services.subscriptions),
      _device(std::move(device)),
      _transport(_service("AVTransport", services.transport)),
      _rendering(_service("RenderingControl", services.rendering)),
      _connections(_service("ConnectionManager", services.connections)),
      _cancellable(g_cancellable_new()) {
  _introspect();
}

RootDevice::~RootDevice() {
  g_cancellable_cancel(_cancellable.get());
  for (GUPnPService* service : {_transport.get(), _rendering.get(), _connections.get()}) {
    if (service) g_signal_handlers_disconnect_by_data(service, this);
  }
  // The device that is still available announces its end when it is released. GSSDP would drop the
  // messages of gupnp_root_device_set_available().
}

void RootDevice::_introspect() {
  GUPnPService* const services[] = {_transport.get(), _rendering.get(), _connections.get()};
  // GUPnP requests the descriptions itself, before these requests.
  while (_introspectedCount < std::size(services) && !services[_introspectedCount]) {
    ++_introspectedCount;
  }
  if (_introspectedCount < std::size(services)) {
    gupnp_service_info_introspect_async(GUPNP_SERVICE_INFO(services[_introspectedCount]),
                                        _cancellable.get(), _introspected, this);
    return;
  }
  gupnp_root_device_set_available(_device.get(), TRUE);
  _isAnnounced = true;
}

void RootDevice::_introspected(GObject* service, GAsyncResult* result, gpointer data) {
  GError* error = nullptr;
  GUPnPServiceIntrospection* const introspection =
      gupnp_service_info_introspect_finish(GUPNP_SERVICE_INFO(service), result, &error);
  const OwnedError owned(error);
  if (introspection) g_object_unref(introspection);
  // The device is gone.
  if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) return;
  auto& self = *static_cast<RootDevice*>(data);
  ++self._introspectedCount;
  self._introspect();
}

ObjectRef<GUPnPService> RootDevice::_service(const char* name, const ActionTable& actions) {
  const std::string type = std::string("urn:schemas-upnp-org:service:") + name + ":1";
  GUPnPServiceInfo* const info =
      gupnp_device_info_get_service(GUPNP_DEVICE_INFO(_device.get()), type.c_str());
  ObjectRef<GUPnPService> service(info ? GUPNP_SERVICE(info) : nullptr);
  if (!service) return service;
  // GUPnP refuses an action without a handler of its own.
  for (const auto& [action, run] : actions) {
    g_signal_connect(service.get(), ("action-invoked::" + action).c_str(), G_CALLBACK(_invoked),
                     this);
  }
  g_signal_connect(service.get(), "query-variable", G_CALLBACK(_queried), this);
  return service;
}

void RootDevice::_notify(GUPnPService* service, const std::string& document) {
  if (service) {
    gupnp_service_notify(service, "LastChange", G_TYPE_STRING, document.c_str(), nullptr);
  }
}

void RootDevice::_invoked(GUPnPService* service, GUPnPServiceAction* action, gpointer data) {
  const auto& self = *static_cast<RootDevice*>(data);
  const ActionTable* table = &self._services.connections;
  if (service == self._transport.get()) table = &self._services.transport;
  if (service == self._rendering.get()) table = &self._services.rendering;
  runAction(*table, Action(action));
}

void RootDevice::_queried(GUPnPService* service, const char* variable, GValue* value,
                          gpointer data) {
  const auto& self = *static_cast<RootDevice*>(data);
  const std::string_view name(variable);
  std::string text;
  if (service == self._connections.get()) {
    if (name == "SinkProtocolInfo") text = sinkProtocolInfo();
    if (name == "CurrentConnectionIDs") text = "0";
  } else {
    const bool isTransport = service == self._transport.get();
    const LastChange& changes =
        isTransport ? self._services.transportChanges : self._services.renderingChanges;
    text = name == "LastChange" ? changes.fullDocument() : changes.value(name);
  }
  g_value_init(value, G_TYPE_STRING);
  g_value_set_string(value, text.c_str());
}

}  // namespace upnp
