#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "box/engine/MediaProcesses.h"
#include "box/process/Device.h"
#include "box/process/NotThere.h"
#include "box/process/ObservedScreen.h"
#include "box/process/Options.h"
#include "box/process/ServiceManager.h"
#include "box/process/SignalWatch.h"
#include "box/screen/window/Screen.h"
#include "box/services/Surroundings.h"
#include "box/services/door/Door.h"
#include "box/services/door/Notifications.h"
#include "box/services/network/Network.h"
#include "box/sound/SoundRoutes.h"
#include "platform/services/Platform.h"
#include "platform/ui/controllers/HeldButton.h"
#include "platform/ui/controllers/ViewServiceHost.h"
#include "startup/Log.h"

namespace box {

/// The box as a process: the machine's clock, the screen, the door on its socket, and the processes
/// that play media.
///
/// Workflow: made first thing in the process, since the time it reports counts from there and since
/// its threads must come after its signal mask. run() launches the application, whose receiver
/// delegate opens the door; only then are media and screen brought up, on threads of their own.
/// SIGTERM and SIGINT end it: the application is told, then players, screen and door close in this
/// order, and run() returns 0. No session is stopped, so senders get no event and only see the
/// connection close. All of that has 2 s; see SignalWatch.
///
/// Threads: main.
class Box final : public platform::RunnablePlatform {
 public:
  /// `started`: when the process entered main. `networkWatch`: not null.
  Box(Options options, platform::TimePoint started, std::unique_ptr<NetworkWatch> networkWatch);
  ~Box() override;

  int run(platform::Application application) override;

  platform::Clock& clock() override { return _clock; }
  platform::MainQueue& mainQueue() override { return _mainQueue; }
  platform::ReceiverServiceClient& receiverServiceClient() override { return _door; }
  platform::NowPlayingService& nowPlaying() override { return _surroundings.nowPlaying(); }
  platform::ProcessAssertionService& processAssertions() override {
    return _surroundings.processAssertions();
  }
  platform::SystemService& systemService() override { return _surroundings.systemService(); }
  platform::PowerManager& powerManager() override { return _surroundings.powerManager(); }
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
  /// The screen, what is presented on it, and the buttons that are held.
  struct Display {
    Display(platform::MainQueue& queue, const platform::Clock& clock, ScreenOptions options)
        : screen(queue, clock, std::move(options)),
          host(queue, observed),
          held(queue, [this](const auto& event) { host.handleInput(event); }) {}

    Screen screen;
    ObservedScreen observed{screen};
    platform::ViewServiceHost host;
    platform::HeldButton held;
  };
  struct Notifications {
    Notifications(platform::MainQueue& queue, Door& door)
        : system(queue, door), distributed(door) {}

    SystemNotifications system;
    DistributedNotifications distributed;
  };
  struct Ending {
    bool hasBegun = false;
    platform::TimePoint commandsEnd{};
  };

  void _applyLogLevels() const;
  void _connectDoor();
  /// Of the remote, by the door.
  void _takeInput(const platform::InputEvent& event, platform::Duration held);
  platform::Dictionary _status() const;
  void _reportDoor();
  void _warmUp();
  void _screenWillOpen(bool opens);
  /// What listens for it does what is to be done before the device sleeps.
  void _deviceWillSleep(std::function<void()> done);
  void _terminate(int signal);
  void _closePlayers();
  void _shutDown();

  const Options _options;
  const platform::TimePoint _started;
  const std::shared_ptr<startup::StderrLog> _log = std::make_shared<startup::StderrLog>();
  platform::SystemClock _clock;
  platform::MainQueue _mainQueue{_clock, std::make_shared<platform::ConditionWaiter>(_clock)};
  // Before everything that has threads, and alive until they have ended.
  SignalWatch _signals;
  ServiceManager _serviceManager{_mainQueue};

  PlainAudioSession _audioSession;
  SoundRoutes _audioRouting;
  Network _network;
  NoCloudData _cloudData;
  PlainInputLimiting _remoteInputLimiting;
  Device _device;
  Door _door;
  Notifications _notifications{_mainQueue, _door};
  Surroundings _surroundings;
  MediaProcesses _mediaProcesses;
  Display _display;

  platform::Application _application;
  Ending _ending;
};

}  // namespace box
