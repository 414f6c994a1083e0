#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "box/services/bus/BusAddress.h"
#include "box/services/nowplaying/NowPlaying.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/NowPlayingService.h"
#include "platform/services/SystemServices.h"

namespace box {

struct SystemIntegrationOptions {
  /// Shell commands; empty: none.
  std::string onActive;
  std::string onIdle;
  /// Folder of the artwork file.
  std::string runtimeFolder;
  std::string sessionBus = addressOfBus(BusKind::Session);
  std::string systemBus = addressOfBus(BusKind::System);

  // Timeouts.

  /// Limit of the preparation for sleep.
  platform::Duration sleepPreparationTimeout = std::chrono::seconds(5);
  /// How long a paused player keeps the device and its screen awake.
  platform::Duration pauseLimit = std::chrono::minutes(5);
  /// Delay from the end of playback to `onIdle`.
  platform::Duration idleDelay = std::chrono::seconds(10);
  platform::Duration commandTimeout = std::chrono::seconds(30);
};

/// Connects the box to the operating system and the desktop: publishes now-playing information over
/// MPRIS and receives media keys, wakes the device and its display and keeps them awake during
/// playback, and runs a preparation before the device sleeps.
///
/// Buses, daemons and the desktop may be missing, disappear and return at any time. Each change is
/// logged; the other functions keep working. No call blocks on them.
///
/// Workflow: construct it with the process; call start() after the D-Bus server is open, and stop()
/// before the process ends. Calls before start() take effect at start().
///
/// Thread: main. Buses and commands are served on a thread of the object's own.
class SystemIntegration {
 public:
  /// Prepares for sleep and calls `done` on any thread. Called on the main thread.
  using SleepPreparation = std::function<void(std::function<void()> done)>;

  /// Both references must outlive this object.
  SystemIntegration(platform::MainQueue& mainQueue, const platform::Clock& clock,
                    SystemIntegrationOptions options, SleepPreparation sleepPreparation);
  ~SystemIntegration();
  SystemIntegration(const SystemIntegration&) = delete;
  SystemIntegration& operator=(const SystemIntegration&) = delete;

  void start();
  /// The shutdown has begun: runs `onIdle` now unless it has run. Does not block.
  void beginShutdown();
  /// Waits up to `commandTimeout` for a running command.
  void stop(platform::Duration commandTimeout = {});

  void setPresenting(bool presenting);
  /// Sets a callback for changes of whether the display should stay on. It is for displays without
  /// a desktop screen saver. Call it before start().
  void setDisplayObserver(std::function<void(bool staysOn)> observer);

  NowPlaying& nowPlaying() { return _nowPlaying; }
  const NowPlaying& nowPlaying() const { return _nowPlaying; }
  platform::ProcessAssertionService& processAssertions();
  platform::SystemService& systemService();
  platform::PowerManager& powerManager();

 private:
  struct Implementation;
  class ProcessAssertions;
  class SystemService;
  class PowerManager;

  NowPlaying _nowPlaying;
  const std::unique_ptr<Implementation> _impl;
  const std::unique_ptr<ProcessAssertions> _processAssertions;
  const std::unique_ptr<SystemService> _systemService;
  const std::unique_ptr<PowerManager> _powerManager;
};

}  // namespace box
