#include "receivers/upnp/device/Renderer.h"

#include <algorithm>
#include <utility>

#include "receivers/upnp/device/Description.h"
#include "receivers/upnp/device/Log.h"

namespace upnp {

namespace {

constexpr Clock::Duration kVolumeSaveDelay{2000};
constexpr Clock::Duration kNetworkRetryDelay{1000};
constexpr int kMaximumNetworkWatches = 5;

}  // namespace

Renderer::Renderer(const Options& options)
    : _options(options),
      _state(options.stateFolder),
      _box(options.socket, _clock),
      _transportChanges(_clock, "urn:schemas-upnp-org:metadata-1-0/AVT/"),
      _renderingChanges(_clock, "urn:schemas-upnp-org:metadata-1-0/RCS/"),
      _rendering(_renderingChanges),
      _volume([this](double gain) {
        if (_transport.isActive()) _rendering.noteGain(gain);
      }),
      _transport(_box, _clock, _transportChanges, _rendering, _hooks()),
      _snapshot(_state.load()),
      _subscriptions(_clock),
      _events([this] { _holdEvents(); }),
      _services{transportActions(_transport, _transportChanges),
                renderingActions(_rendering, _renderingChanges),
                connectionActions(),
                _transportChanges,
                _renderingChanges,
                _clock,
                _subscriptions} {
  _state.loadVolume(_rendering);
}

Renderer::~Renderer() {
  _saveVolume();
  // Actions that wait are answered while their devices exist.
  _transport.handleDisconnected();
  _box.close();
  if (_contexts) g_signal_handlers_disconnect_by_data(_contexts.get(), this);
  // The devices announce their end while the networks are still in use.
  _devices.clear();
}

Transport::Hooks Renderer::_hooks() {
  return {.save = [this](const Snapshot& snapshot) { _state.save(snapshot); },
          .log = log,
          .makeUuid =
              [] {
                const OwnedText uuid(g_uuid_string_random());
                return std::string(kUuidPrefix) + uuid.get();
              },
          .firstSession = g_random_int() | 1};
}

bool Renderer::start() {
  const std::string folder = _state.path() + "/description";
  if (!writeDescriptions(folder, _options.name, _state.deviceUuid())) {
    log("Cannot write the descriptions into " + folder);
    return false;
  }
  _transportChanges.setPublish([this](const std::string& document) {
    trace("LastChange " + document);
    for (const Device& one : _devices) one.device->notifyTransport(document);
  });
  _renderingChanges.setPublish([this](const std::string& document) {
    // A slider changes it many times.
    _volumeSave = _clock.after(kVolumeSaveDelay, [this] { _saveVolume(); });
    trace("LastChange " + document);
    for (const Device& one : _devices) one.device->notifyRendering(document);
  });
  _connectBox();
  _watchNetworks();
  return true;
}

void Renderer::_watchNetworks() {
  if (_contexts) g_signal_handlers_disconnect_by_data(_contexts.get(), this);
  _contexts.reset(
      gupnp_context_manager_create_full(GSSDP_UDA_VERSION_1_0, G_SOCKET_FAMILY_IPV4, 0));
  if (!_options.interfaces.empty()) {
    GUPnPContextFilter* const filter = gupnp_context_manager_get_context_filter(_contexts.get());
    for (const std::string& name : _options.interfaces) {
      gupnp_context_filter_add_entry(filter, name.c_str());
    }
    gupnp_context_filter_set_enabled(filter, TRUE);
  }
  g_signal_connect(_contexts.get(), "context-available", G_CALLBACK(_contextAvailable), this);
  g_signal_connect(_contexts.get(), "context-unavailable", G_CALLBACK(_contextUnavailable), this);
  // GUPnP 1.6 sometimes misses the interfaces that exist at its start.
  if (++_networkWatches > kMaximumNetworkWatches) return;
  _networkRetry = _clock.after(kNetworkRetryDelay, [this] {
    if (_devices.empty()) _watchNetworks();
  });
}

void Renderer::_holdEvents() {
  const bool isHeld = _events.isFull();
  log(isHeld ? "Too many events wait for subscribers" : "Subscribers get events again");
  _subscriptions.hold(isHeld);
  _transportChanges.hold(isHeld);
  _renderingChanges.hold(isHeld);
}

void Renderer::_saveVolume() {
  _volumeSave.reset();
  _state.saveVolume(_rendering);
}

int Renderer::port() const {
  return _devices.empty() || !_devices[0].device->isAnnounced()
             ? 0
             : static_cast<int>(gupnp_context_get_port(_devices[0].context));
}

void Renderer::_connectBox() {
  _box.open({.connected = [this] { _transport.handleConnected(std::exchange(_snapshot, {})); },
             .disconnected = [this] { _snapshot = _transport.handleDisconnected(); },
             .event = [this](const BoxEvent& event) { _transport.handleEvent(event); }});
}

void Renderer::_contextAvailable(GUPnPContextManager*, GUPnPContext* context, gpointer data) {
  auto& self = *static_cast<Renderer*>(data);
  auto device = RootDevice::make(context, self._state.path() + "/description", self._services);
  if (!device) return;
  log("\"" + self._options.name + "\" on " +
      textOf(gssdp_client_get_interface(GSSDP_CLIENT(context))) + ", " +
      textOf(gssdp_client_get_host_ip(GSSDP_CLIENT(context))) + ":" +
      std::to_string(gupnp_context_get_port(context)));
  self._devices.push_back({context, std::move(device)});
}

void Renderer::_contextUnavailable(GUPnPContextManager*, GUPnPContext* context, gpointer data) {
  auto& self = *static_cast<Renderer*>(data);
  std::erase_if(self._devices, [&](const Device& one) { return one.context == context; });
}

}  // namespace upnp
