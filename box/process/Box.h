#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "box/engine/MediaProcesses.h"
#include "box/process/Device.h"
#include "box/process/MissingServices.h"
#include "box/process/ObservedScreen.h"
#include "box/process/Options.h"
#include "box/process/ServiceManager.h"
#include "box/process/SignalWatch.h"
#include "box/screen/window/Screen.h"
#include "box/services/SystemIntegration.h"
#include "box/services/dbus/DBusServer.h"
#include "box/services/dbus/Notifications.h"
#include "box/services/network/Network.h"
#include "box/sound/SoundRoutes.h"
#include "platform/services/Platform.h"
#include "platform/ui/controllers/ButtonRepeater.h"
#include "platform/ui/controllers/ViewServiceHost.h"
#include "startup/Log.h"

namespace box {

/// The platform of the TV box: system clock, screen, D-Bus server and media processes.
///
/// Construct it before any other thread exists: SignalWatch blocks signals in the constructor, and
/// later threads inherit that mask. run() launches the application. The application's receiver
/// delegate opens the D-Bus server. Then run() initializes the media processes and the screen on
/// threads of their own.
///
/// SIGTERM and SIGINT start a shutdown: the application is notified, then players, screen and D-Bus
/// server are closed in this order, and run() returns 0. Sessions are not stopped, so senders get
/// no stop event; their connections are closed. The shutdown is limited to 2 s; see SignalWatch.
///
/// Thread: main.
class Box final : public platform::RunnablePlatform {
 public:
  /// `started`: the time when main() began. `networkWatch` must not be null.
  Box(Options options, platform::TimePoint started, std::unique_ptr<NetworkWatch> networkWatch);
  ~Box() override;

  int run(platform::Application application) override;

  platform::Clock& clock() override { return _clock; }
  platform::MainQueue& mainQueue() override { return _mainQueue; }
  platform::ReceiverServiceClient& receiverServiceClient() override { return _dbusServer; }
  platform::NowPlayingService& nowPlaying() override { return _systemIntegration.nowPlaying(); }
  platform::ProcessAssertionService& processAssertions() override {
    return _systemIntegration.processAssertions();
  }
  platform::SystemService& systemService() override { return _systemIntegration.systemService(); }
  platform::PowerManager& powerManager() override { return _systemIntegration.powerManager(); }
  platform::SystemNotificationService& systemNotifications() override {
    return _notifications.system;
  }
  platform::DistributedNotificationCenter& distributedNotifications() override {
    return _notifications.distributed;
  }
  platform::TVSAudioSession& audioSession() override { return _audioSession; }
  platform::AudioRoutingService& audioRouting() override { return _audioRouting; }
  platform::TVSNetworkUtilities& network() override { return _network; }
  platform::TVSCloudDataClient& cloudData() override { return _cloudData; }
  platform::RemoteInputLimitingCenter& remoteInputLimiting() override {
    return _remoteInputLimiting;
  }
  platform::DeviceInfo& device() override { return _device; }
  platform::ViewServiceHost& viewServiceHost() override { return _display.host; }
  std::unique_ptr<platform::MediaEngine> makeMediaEngine() override;
  std::shared_ptr<platform::Layer> makeLayer() override;

 private:
  /// The screen, the view service host that presents on it, and the state of held buttons.
  struct Display {
    Display(platform::MainQueue& queue, const platform::Clock& clock, ScreenOptions options)
        : screen(queue, clock, std::move(options)),
          host(queue, observed),
          held(queue, [this](const auto& event) { host.handleInput(event); }) {}

    Screen screen;
    ObservedScreen observed{screen};
    platform::ViewServiceHost host;
    platform::ButtonRepeater held;
  };
  struct Notifications {
    Notifications(platform::MainQueue& queue, DBusServer& server)
        : system(queue, server), distributed(server) {}

    SystemNotifications system;
    DistributedNotifications distributed;
  };
  struct Shutdown {
    bool isRequested = false;
    platform::TimePoint commandDeadline{};
  };

  /// Returns false if the application does not start.
  bool _launch();
  void _applyLogLevels() const;
  void _setUpDBusServer();
  void _handleInput(const platform::InputEvent& event, platform::Duration held);
  platform::Dictionary _status() const;
  void _reportReady();
  void _warmUp();
  void _screenWillOpen(bool opens);
  /// Posts the will-sleep notification; calls `done` when its effects have been sent to the peers.
  void _deviceWillSleep(std::function<void()> done);
  void _terminate(int signal);
  void _closePlayers();
  void _shutDown();

  const Options _options;
  const platform::TimePoint _started;
  const std::shared_ptr<startup::StderrLog> _log = std::make_shared<startup::StderrLog>();
  platform::SystemClock _clock;
  platform::MainQueue _mainQueue{_clock, std::make_shared<platform::ConditionWaiter>(_clock)};
  // Must be constructed before and destroyed after all members that have threads.
  SignalWatch _signals;
  ServiceManager _serviceManager{_mainQueue};

  NullAudioSession _audioSession;
  SoundRoutes _audioRouting;
  Network _network;
  NullCloudDataClient _cloudData;
  NullInputLimiting _remoteInputLimiting;
  Device _device;
  DBusServer _dbusServer;
  Notifications _notifications{_mainQueue, _dbusServer};
  SystemIntegration _systemIntegration;
  MediaProcesses _mediaProcesses;
  Display _display;

  platform::Application _application;
  Shutdown _shutdown;
};

}  // namespace box
