#include "box/process/Box.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "box/engine/RemoteEngine.h"
#include "box/frames/FrameSocket.h"
#include "box/process/Memory.h"
#include "box/process/Version.h"
#include "platform/foundation/queues/WorkerThreads.h"

namespace box {

namespace {

SurroundingsOptions surroundingsOptions(const Options& options, const Door& door) {
  SurroundingsOptions surroundings;
  surroundings.onActive = options.onActive;
  surroundings.onIdle = options.onIdle;
  surroundings.runtimeFolder = std::filesystem::path(door.socketPath()).parent_path();
  return surroundings;
}

// All of the end, and the part of it that waits for threads.
constexpr auto kEndLimit = std::chrono::milliseconds(2000);
constexpr auto kWorkersEndLimit = std::chrono::milliseconds(700);
/// Until then the administrator's command for the end is waited for.
constexpr auto kCommandsEnd = std::chrono::milliseconds(1800);

ScreenOptions screenOptions(const Options& options, const Device& device) {
  ScreenOptions screen = options.screen;
  screen.language = device.language();
  return screen;
}

MediaProcesses::Setup processSetup(const Options& options, const Device& device) {
  MediaProcesses::Setup setup;
  setup.options.cacheFolder = options.cacheFolder;
  setup.options.allowFileURLs = options.allowFileURLs;
  setup.options.languages = device.preferredLanguages();
  setup.options.logLevel = options.logLevel;
  setup.options.logComponents = options.logComponents;
  setup.options.usesSandbox = options.sandbox;
  setup.options.readable = options.sandboxReadable;
  setup.options.writable = options.sandboxWritable;
  return setup;
}

/// Without destructors, which threads that still run could run into.
[[noreturn]] void leave() {
  std::fflush(nullptr);
  std::_Exit(0);
}

}  // namespace

Box::Box(Options options, platform::TimePoint started, std::unique_ptr<NetworkWatch> networkWatch)
    : _options(std::move(options)),
      _started(started),
      _signals(kEndLimit,
               [this](int signal) { _mainQueue.async([this, signal] { _terminate(signal); }); }),
      _audioRouting(_mainQueue, notificationCenter(),
                    {.speakerPatterns = _options.speakerPatterns,
                     .serverIsThere = [this] { _mediaProcesses.noteSoundArrival(); }}),
      _network(_mainQueue, notificationCenter(), std::move(networkWatch)),
      _device(_options.language),
      _door(_mainQueue, _options.door),
      _surroundings(_mainQueue, _clock, surroundingsOptions(_options, _door),
                    [this](std::function<void()> done) { _deviceWillSleep(std::move(done)); }),
      _mediaProcesses(_mainQueue, processSetup(_options, _device)),
      _display(_mainQueue, _clock, screenOptions(_options, _device)) {
  // A peer or a server that hangs up shows where it is written to.
  std::signal(SIGPIPE, SIG_IGN);
  TVSLogger::addSink(_log);
}

Box::~Box() {
  _application = {};
  releaseSharedInstances();
  _door.close();
  // What waits there may hold sessions and controllers, which need the services that end next.
  _mainQueue.discard();
  TVSLogger::removeSink(_log);
}

std::unique_ptr<platform::MediaEngine> Box::makeMediaEngine() {
  return std::make_unique<RemoteEngine>(
      _mainQueue, _clock, _mediaProcesses,
      RemoteEngine::Sound{.interrupted = [this] { _audioRouting.interrupt(); },
                          .lost = [this] { _audioRouting.noteLoss(); }});
}

std::shared_ptr<platform::Layer> Box::makeLayer() {
  std::optional<platform::Error> error;
  // Beside the door's socket: whoever may call the door may draw.
  auto layer = FrameSocket::open(_door.socketPath() + ".layers", &error);
  if (error) TVSLogError(TVSSystemLog, "There is no layer to draw into: %@", *error);
  return layer;
}

int Box::run(platform::Application application) {
  _mainQueue.bindToCurrentThread();
  TVSLogger::setMainThread();
  _applyLogLevels();
  _application = std::move(application);
  _display.host.setRootViewControllerFactory(_application.makeRootViewController);
  _connectDoor();
  if (!_application.delegate->applicationDidFinishLaunching({})) {
    TVSLogError(TVSSystemLog, "The application refused to launch");
    return 1;
  }
  _reportDoor();
  _warmUp();
  _mainQueue.run();
  _shutDown();
  return 0;
}

void Box::_applyLogLevels() const {
  if (_options.logLevel) TVSLogger::setLevel(*_options.logLevel);
  for (const auto& [component, level] : _options.logComponents) {
    TVSLogger::setLevel(component, level);
  }
}

void Box::_connectDoor() {
  _door.setBoxInterface({
      .input = [this](platform::InputEvent event,
                      platform::Duration held) { _takeInput(event, held); },
      .screenshot =
          [this](std::function<void(std::shared_ptr<const platform::Bytes>)> completion) {
            _display.screen.capture(std::move(completion));
          },
      .status = [this] { return _status(); },
  });
  _door.setFatalActionCheck(_application.isFatalAction);
}

void Box::_takeInput(const platform::InputEvent& event, platform::Duration held) {
  const auto* press = std::get_if<platform::PressType>(&event.what);
  if (press && held > platform::Duration::zero()) {
    _display.held.hold(*press, held);
  } else {
    _display.held.letGo();
    _display.host.handleInput(event);
  }
}

platform::Dictionary Box::_status() const {
  platform::Dictionary status;
  if (_application.status) status = _application.status();
  status.set("window", platform::Dictionary{{"open", _display.screen.isOpen()},
                                            {"presenting", _display.host.isPresenting()}});
  const FrameStatistics drawn = _display.screen.statistics();
  status.set("screen",
             platform::Dictionary{{"frames", drawn.frames},
                                  {"averageMilliseconds", drawn.averageMilliseconds},
                                  {"longestMilliseconds", drawn.longestMilliseconds},
                                  {"pictures", drawn.judder.pictures},
                                  {"dropped", drawn.judder.dropped},
                                  {"repeated", drawn.judder.repeated},
                                  {"judderMilliseconds", drawn.judder.averageMilliseconds},
                                  {"judder99Milliseconds", drawn.judder.mostMilliseconds}});
  status.set("nowPlaying", _surroundings.nowPlaying().status());
  status.set("uptime", platform::secondsFromDuration(_clock.now() - _started));
  if (const auto use = memoryUse()) {
    status.set("memory", platform::Dictionary{{"pss", use->proportional},
                                              {"rss", use->resident},
                                              {"allocated", use->allocated}});
  }
  status.set("version", kVersion);
  return status;
}

void Box::_reportDoor() {
  // The door itself has said why.
  if (_door.error()) return;
  // What the loader did before main is not in it: the kernel tells the start of a process in steps
  // of 10 ms only.
  TVSLogNotice(TVSSystemLog, "The door %@ is open, %f ms after main began", _door.socketPath(),
               platform::secondsFromDuration(_clock.now() - _started) * 1000);
  _serviceManager.tellReady();
}

void Box::_warmUp() {
  _network.start();
  _audioRouting.start();
  _surroundings.setDisplayObserver(
      [this](bool staysOn) { _display.screen.setKeepsDisplayOn(staysOn); });
  _surroundings.start();
  _mediaProcesses.warmUp();
  _display.screen.warmUp();
  _display.observed.setObserver([this](bool opens) { _screenWillOpen(opens); });
}

void Box::_screenWillOpen(bool opens) { _surroundings.setPresenting(opens); }

void Box::_deviceWillSleep(std::function<void()> done) {
  _notifications.system.post(platform::TVSPowerManagerDeviceWillSleepNotification);
  // After those who have heard of it, and after what they have sent.
  _mainQueue.async([this, done = std::move(done)] { _door.whenSent(done); });
}

void Box::_terminate(int signal) {
  if (std::exchange(_ending.hasBegun, true)) return;
  TVSLogNotice(TVSSystemLog, "Ending on signal %d", signal);
  _serviceManager.tellStopping();
  _ending.commandsEnd = _clock.now() + kCommandsEnd;
  _surroundings.beginEnd();
  _application.delegate->applicationWillTerminate();
  _mainQueue.stop();
}

void Box::_closePlayers() {
  // Senders and logs must not take this for a stop by the user, so no session is told.
  // Every owner of a player is released instead.
  _display.host.close();
  releaseSharedInstances();
  _mainQueue.discard();
}

void Box::_shutDown() {
  // From here on the end is as good as it gets, whatever a thread still hangs on.
  _signals.setLeavingStatus(0);
  _network.stop();
  _audioRouting.stop();
  _display.observed.setObserver(nullptr);
  _closePlayers();
  _mediaProcesses.close();
  _display.screen.close();
  _door.close();
  _application = {};
  releaseSharedInstances();
  _mainQueue.runDue();
  _mainQueue.discard();
  const bool haveEnded = platform::WorkerThreads::waitForAll(kWorkersEndLimit);
  _surroundings.stop(_ending.commandsEnd - _clock.now());
  if (haveEnded) return;
  TVSLogWarning(TVSSystemLog, "%lu threads did not end in time and are left as they are",
                platform::WorkerThreads::running());
  leave();
}

}  // namespace box
