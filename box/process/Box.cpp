#include "box/process/Box.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "box/engine/RemoteEngine.h"
#include "box/frames/FrameSocket.h"
#include "box/process/Memory.h"
#include "box/process/Version.h"
#include "platform/foundation/queues/WorkerThreads.h"

namespace box {

namespace {

SystemIntegrationOptions systemIntegrationOptions(const Options& options,
                                                  const DBusServer& server) {
  SystemIntegrationOptions integration;
  integration.onActive = options.onActive;
  integration.onIdle = options.onIdle;
  integration.runtimeFolder = std::filesystem::path(server.socketPath()).parent_path();
  return integration;
}

// Timeouts of the whole shutdown and of its wait for worker threads.
constexpr auto kShutdownTimeout = std::chrono::milliseconds(2000);
constexpr auto kWorkersTimeout = std::chrono::milliseconds(700);
/// Limit for the --on-idle command that runs at shutdown, counted from the begin of the shutdown.
constexpr auto kCommandTimeout = std::chrono::milliseconds(1800);

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
  setup.options.pipelineDumpFolder = options.pipelineDumpFolder;
  return setup;
}

/// Skips destructors: threads that still run may use the objects.
[[noreturn]] void exitWithoutDestructors() {
  std::fflush(nullptr);
  std::_Exit(0);
}

}  // namespace

Box::Box(Options options, platform::TimePoint started, std::unique_ptr<NetworkWatch> networkWatch)
    : _options(std::move(options)),
      _started(started),
      _signals(kShutdownTimeout,
               [this](int signal) { _mainQueue.async([this, signal] { _terminate(signal); }); }),
      _audioRouting(_mainQueue, notificationCenter(),
                    {.speakerPatterns = _options.speakerPatterns,
                     .serverDidConnect = [this] { _mediaProcesses.soundServerDidConnect(); }}),
      _network(_mainQueue, notificationCenter(), std::move(networkWatch)),
      _device(_options.language),
      _dbusServer(_mainQueue, _options.server),
      _systemIntegration(_mainQueue, _clock, systemIntegrationOptions(_options, _dbusServer),
                         [this](std::function<void()> done) { _deviceWillSleep(std::move(done)); }),
      _mediaProcesses(_mainQueue, processSetup(_options, _device)),
      _display(_mainQueue, _clock, screenOptions(_options, _device)) {
  // A closed connection is reported by write() instead.
  std::signal(SIGPIPE, SIG_IGN);
  TVSLogger::addSink(_log);
}

Box::~Box() {
  _application = {};
  releaseSharedInstances();
  _dbusServer.close();
  // Pending tasks may hold sessions and controllers. Those use services that are destroyed next.
  _mainQueue.discard();
  TVSLogger::removeSink(_log);
}

std::unique_ptr<platform::MediaEngine> Box::makeMediaEngine() {
  return std::make_unique<RemoteEngine>(
      _mainQueue, _clock, _mediaProcesses,
      RemoteEngine::Sound{.interrupted = [this] { _audioRouting.interrupt(); },
                          .lost = [this] { _audioRouting.handleDeviceLoss(); }});
}

std::shared_ptr<platform::Layer> Box::makeLayer() {
  std::optional<platform::Error> error;
  // In the folder of the D-Bus socket, so that the same users have access.
  auto layer = FrameSocket::open(_dbusServer.socketPath() + ".layers", &error);
  if (error) TVSLogError(TVSSystemLog, "Cannot create a layer: %@", *error);
  return layer;
}

int Box::run(platform::Application application) {
  _mainQueue.bindToCurrentThread();
  TVSLogger::setMainThread();
  _applyLogLevels();
  _application = std::move(application);
  _display.host.setRootViewControllerFactory(_application.makeRootViewController);
  _setUpDBusServer();
  if (!_signals.isRunning() || !_launch()) {
    TVSLogError(TVSSystemLog, "The application failed to launch");
    return 1;
  }
  _reportReady();
  _warmUp();
  _mainQueue.run();
  _shutDown();
  return 0;
}

bool Box::_launch() {
  try {
    return _application.delegate->applicationDidFinishLaunching({});
  } catch (const std::system_error& error) {
    TVSLogError(TVSSystemLog, "%@", std::string(error.what()));
    return false;
  }
}

void Box::_applyLogLevels() const {
  if (_options.logLevel) TVSLogger::setLevel(*_options.logLevel);
  for (const auto& [component, level] : _options.logComponents) {
    TVSLogger::setLevel(component, level);
  }
}

void Box::_setUpDBusServer() {
  _dbusServer.setBoxInterface({
      .input = [this](platform::InputEvent event,
                      platform::Duration held) { _handleInput(event, held); },
      .screenshot =
          [this](std::function<void(std::shared_ptr<const platform::Bytes>)> completion) {
            _display.screen.capture(std::move(completion));
          },
      .status = [this] { return _status(); },
  });
  _dbusServer.setFatalActionCheck(_application.isFatalAction);
}

void Box::_handleInput(const platform::InputEvent& event, platform::Duration held) {
  const auto* press = std::get_if<platform::PressType>(&event.what);
  if (press && held > platform::Duration::zero()) {
    _display.held.hold(*press, held);
  } else {
    _display.held.release();
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
                                  {"judder99Milliseconds", drawn.judder.percentile99Milliseconds}});
  status.set("nowPlaying", _systemIntegration.nowPlaying().status());
  status.set("uptime", platform::secondsFromDuration(_clock.now() - _started));
  if (const auto use = memoryUse()) {
    status.set("memory", platform::Dictionary{{"pss", use->proportional},
                                              {"rss", use->resident},
                                              {"allocated", use->allocated}});
  }
  status.set("version", kVersion);
  return status;
}

void Box::_reportReady() {
  // setDelegate() has logged the error.
  if (_dbusServer.error()) return;
  // The time excludes the dynamic loader: the kernel reports process start times with a resolution
  // of 10 ms only.
  TVSLogNotice(TVSSystemLog, "D-Bus server listens on %@, %f ms after main began",
               _dbusServer.socketPath(),
               platform::secondsFromDuration(_clock.now() - _started) * 1000);
  _serviceManager.notifyReady();
}

void Box::_warmUp() {
  _network.start();
  _audioRouting.start();
  _systemIntegration.setDisplayObserver(
      [this](bool staysOn) { _display.screen.setKeepsDisplayOn(staysOn); });
  _systemIntegration.start();
  _mediaProcesses.warmUp();
  _display.screen.warmUp();
  _display.observed.setObserver([this](bool opens) { _screenWillOpen(opens); });
}

void Box::_screenWillOpen(bool opens) { _systemIntegration.setPresenting(opens); }

void Box::_deviceWillSleep(std::function<void()> done) {
  _notifications.system.post(platform::TVSPowerManagerDeviceWillSleepNotification);
  // Deferred, so that observers of the notification have run and their events are queued.
  _mainQueue.async([this, done = std::move(done)] { _dbusServer.callAfterSending(done); });
}

void Box::_terminate(int signal) {
  if (std::exchange(_shutdown.isRequested, true)) return;
  TVSLogNotice(TVSSystemLog, "Shutting down after signal %d", signal);
  _serviceManager.notifyStopping();
  _shutdown.commandDeadline = _clock.now() + kCommandTimeout;
  _systemIntegration.beginShutdown();
  _application.delegate->applicationWillTerminate();
  _mainQueue.stop();
}

void Box::_closePlayers() {
  // Stopping sessions would look like a stop by the user to senders. Release all owners of players
  // instead.
  _display.host.close();
  releaseSharedInstances();
  _mainQueue.discard();
}

void Box::_shutDown() {
  // After this point the exit status is 0 even if a thread hangs.
  _signals.setTimeoutStatus(0);
  _network.stop();
  _audioRouting.stop();
  _display.observed.setObserver(nullptr);
  _closePlayers();
  _mediaProcesses.close();
  _display.screen.close();
  _dbusServer.close();
  _application = {};
  releaseSharedInstances();
  _mainQueue.runDue();
  _mainQueue.discard();
  const bool allEnded = platform::WorkerThreads::waitForAll(kWorkersTimeout);
  _systemIntegration.stop(_shutdown.commandDeadline - _clock.now());
  if (allEnded) return;
  TVSLogWarning(TVSSystemLog, "%lu threads did not finish in time",
                platform::WorkerThreads::running());
  exitWithoutDestructors();
}

}  // namespace box
