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

struct SurroundingsOptions {
  /// Run by the shell; empty: none.
  std::string onActive;
  std::string onIdle;
  /// Where the now-playing picture's file goes.
  std::string runtimeFolder;
  std::string sessionBus = addressOfBus(BusKind::Session);
  std::string systemBus = addressOfBus(BusKind::System);

  // Bounds. A test shortens them.

  /// What is to be done before the device sleeps.
  platform::Duration sleepStepLimit = std::chrono::seconds(5);
  /// How long what is paused keeps the device and its screen from sleeping.
  platform::Duration pauseLimit = std::chrono::minutes(5);
  /// How long nothing has played when the command for that runs.
  platform::Duration idleDelay = std::chrono::seconds(10);
  platform::Duration commandLimit = std::chrono::seconds(30);
};

/// What this box is to the system and the desktop that it runs on: what plays is shown on the
/// session bus and takes its media keys, the device and its display wake and stay awake for it, and
/// its sleep is noticed in time.
///
/// Each bus, daemon and desktop may be missing, come, go, and come back; that is a line in the log,
/// and the rest goes on. Nobody here waits for any of them.
///
/// Workflow: made with the process, before which nothing of it costs anything; start() once the
/// door is open; stop() before the process ends. Services that are called before start() take
/// effect with it.
///
/// Threads: main. Buses and commands are served on a thread of their own.
class Surroundings {
 public:
  /// Does what is to be done before the device sleeps, and calls `done` on any thread. Main thread.
  using SleepStep = std::function<void(std::function<void()> done)>;

  /// Both references outlive it.
  Surroundings(platform::MainQueue& mainQueue, const platform::Clock& clock,
               SurroundingsOptions options, SleepStep sleepStep);
  ~Surroundings();
  Surroundings(const Surroundings&) = delete;
  Surroundings& operator=(const Surroundings&) = delete;

  void start();
  /// The end has begun: the command for when nothing plays runs now, unless it has run. Does not
  /// wait.
  void beginEnd();
  /// Waits for a command under way no longer than `commandLimit`.
  void stop(platform::Duration commandLimit = {});

  /// Whether the screen shows something.
  void setPresenting(bool presenting);
  /// Called when what is on the screen is, or is no longer, a reason for the display to stay on:
  /// for a display that has no desktop to ask. Before start().
  void setDisplayObserver(std::function<void(bool staysOn)> observer);

  NowPlaying& nowPlaying() { return _nowPlaying; }
  const NowPlaying& nowPlaying() const { return _nowPlaying; }
  platform::ProcessAssertionService& processAssertions();
  platform::SystemService& systemService();
  platform::PowerManager& powerManager();

 private:
  struct Served;
  class ProcessAssertions;
  class SystemService;
  class PowerManager;

  NowPlaying _nowPlaying;
  const std::unique_ptr<Served> _served;
  const std::unique_ptr<ProcessAssertions> _processAssertions;
  const std::unique_ptr<SystemService> _systemService;
  const std::unique_ptr<PowerManager> _powerManager;
};

}  // namespace box
