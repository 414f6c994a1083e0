#pragma once

#include <memory>
#include <vector>

#include <libgupnp/gupnp.h>

#include "receivers/upnp/device/BoxConnection.h"
#include "receivers/upnp/device/EventRequests.h"
#include "receivers/upnp/device/GlibClock.h"
#include "receivers/upnp/device/Options.h"
#include "receivers/upnp/device/RootDevice.h"
#include "receivers/upnp/device/StateFolder.h"
#include "receivers/upnp/device/VolumeWatch.h"
#include "receivers/upnp/model/Transport.h"

namespace upnp {

/// The whole renderer: the model, the connection to the box, and a device on each network
/// interface.
class Renderer {
 public:
  explicit Renderer(const Options& options);
  Renderer(const Renderer&) = delete;
  Renderer& operator=(const Renderer&) = delete;
  ~Renderer();

  /// Returns false if the descriptions cannot be written.
  bool start();

  /// Of the first network interface; 0: the device is not announced yet.
  int port() const;
  bool isConnected() const { return _box.isConnected(); }

 private:
  struct Device {
    GUPnPContext* context;
    std::unique_ptr<RootDevice> device;
  };

  Transport::Hooks _hooks();
  void _connectBox();
  void _saveVolume();
  void _holdEvents();
  void _watchNetworks();
  static void _contextAvailable(GUPnPContextManager*, GUPnPContext* context, gpointer data);
  static void _contextUnavailable(GUPnPContextManager*, GUPnPContext* context, gpointer data);

  const Options _options;
  GlibClock _clock;
  StateFolder _state;
  Clock::Timer _volumeSave;
  BoxConnection _box;
  LastChange _transportChanges;
  LastChange _renderingChanges;
  Rendering _rendering;
  VolumeWatch _volume;
  Transport _transport;
  Snapshot _snapshot;
  Subscriptions _subscriptions;
  EventRequests _events;
  DeviceServices _services;
  std::vector<Device> _devices;
  ObjectRef<GUPnPContextManager> _contexts;
  Clock::Timer _networkRetry;
  int _networkWatches = 0;
};

}  // namespace upnp
