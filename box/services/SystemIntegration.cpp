#include "box/services/SystemIntegration.h"

#include <atomic>
#include <cstdint>
#include <future>
#include <set>
#include <utility>

#include "box/services/bus/BusConnection.h"
#include "box/services/nowplaying/MprisObject.h"
#include "box/services/power/DisplayCommands.h"
#include "box/services/power/Logind.h"
#include "box/services/power/ScreenSaver.h"
#include "box/services/power/SleepPolicy.h"
#include "box/services/support/ServiceThread.h"

namespace box {

namespace {
/// Minimum interval between two reports of user activity.
constexpr auto kActivityInterval = std::chrono::seconds(1);
}  // namespace

/// The objects of the service thread, and the main thread objects that control them.
struct SystemIntegration::Implementation {
  Implementation(platform::MainQueue& mainQueue, const platform::Clock& clock,
                 NowPlaying& nowPlaying, SystemIntegrationOptions options,
                 SleepPreparation sleepPreparation)
      : display(thread, std::move(options.onActive), std::move(options.onIdle), options.idleDelay,
                options.commandTimeout),
        mpris(clock, std::move(options.runtimeFolder),
              [&mainQueue, &nowPlaying](const platform::RemoteCommand& command) {
                mainQueue.async([&nowPlaying, command] { nowPlaying.send(command); });
              }),
        logind(thread, options.sleepPreparationTimeout,
               [this, &mainQueue, step = std::move(sleepPreparation)] {
                 mainQueue.async([this, step] {
                   step([this] { thread.async([this] { logind.finishSleepPreparation(); }); });
                 });
               }),
        sessionBus(thread, BusKind::Session, std::move(options.sessionBus)),
        systemBus(thread, BusKind::System, std::move(options.systemBus)),
        awake(mainQueue, options.pauseLimit, [this](const SleepPolicy::Inhibitions& inhibitions) {
          if (displayObserver) displayObserver(inhibitions.screen);
          thread.async([this, inhibitions] { keepAwake(inhibitions); });
        }) {
    sessionBus.addClient(mpris);
    sessionBus.addClient(screenSaver);
    systemBus.addClient(logind);
  }

  void keepAwake(const SleepPolicy::Inhibitions& inhibitions) {
    isPlaying = inhibitions.device;
    screenSaver.setInhibited(inhibitions.screen);
    updateInhibitors();
  }
  void setAsserted(bool asserted) {
    isAsserted = asserted;
    updateInhibitors();
  }
  void updateInhibitors() {
    logind.setInhibitsIdle(isPlaying || isAsserted);
    logind.setInhibitsSleep(isAsserted);
  }
  void reportActivity() {
    logind.reportActivity();
    screenSaver.reportActivity();
  }

  ServiceThread thread;
  DisplayCommands display;
  MprisObject mpris;
  Logind logind;
  ScreenSaver screenSaver;
  BusConnection sessionBus;
  BusConnection systemBus;
  // Service thread only.
  bool isPlaying = false;
  bool isAsserted = false;
  // Main thread only.
  std::function<void(bool)> displayObserver;
  SleepPolicy awake;
};

/// The assertions have no effect: Linux does not suspend background processes. The out-of-memory
/// killer can end one, but its priority is set by the systemd units.
class SystemIntegration::ProcessAssertions final : public platform::ProcessAssertionService {
 public:
  std::shared_ptr<platform::ProcessAssertion> acquire(std::string_view, std::uint32_t,
                                                      std::uint32_t, std::string_view) override {
    return std::make_shared<platform::ProcessAssertion>();
  }
};

class SystemIntegration::SystemService final : public platform::SystemService {
 public:
  explicit SystemService(Implementation& impl) : _impl(impl) {}

  void wakeSystem(int) override {
    _impl.thread.async([&impl = _impl] {
      impl.reportActivity();
      impl.display.becomeActive();
    });
  }

  void setVorlaneSessionActive(bool active) override {
    _impl.awake.setSessionActive(active);
    if (active) return;
    _impl.thread.async([&impl = _impl] { impl.display.becomeIdle(); });
  }

  void triggerUserActivity() override {
    const auto now = platform::SystemClock().now().time_since_epoch();
    auto last = _lastActivity.load();
    if (now - platform::Duration(last) < kActivityInterval) return;
    if (!_lastActivity.compare_exchange_strong(last, now.count())) return;
    _impl.thread.async([&impl = _impl] { impl.reportActivity(); });
  }

 private:
  Implementation& _impl;
  /// Ticks of the system clock since boot.
  std::atomic<platform::Duration::rep> _lastActivity = 0;
};

/// Assertions are in effect while logind is available. It may appear later than the assertion.
class SystemIntegration::PowerManager final : public platform::PowerManager {
 public:
  explicit PowerManager(Implementation& impl) : _impl(impl) {}

  std::uint32_t createAssertion(const platform::Dictionary&, std::uint32_t* identifier) override {
    _assertions.insert(++_lastIdentifier);
    if (identifier) *identifier = _lastIdentifier;
    _update();
    return 0;
  }
  void releaseAssertion(std::uint32_t identifier) override {
    _assertions.erase(identifier);
    _update();
  }

 private:
  void _update() {
    _impl.thread.async([&impl = _impl, any = !_assertions.empty()] { impl.setAsserted(any); });
  }

  Implementation& _impl;
  std::set<std::uint32_t> _assertions;
  std::uint32_t _lastIdentifier = 0;
};

SystemIntegration::SystemIntegration(platform::MainQueue& mainQueue, const platform::Clock& clock,
                                     SystemIntegrationOptions options,
                                     SleepPreparation sleepPreparation)
    : _nowPlaying(mainQueue, clock),
      _impl(new Implementation(mainQueue, clock, _nowPlaying, std::move(options),
                               std::move(sleepPreparation))),
      _processAssertions(new ProcessAssertions),
      _systemService(new SystemService(*_impl)),
      _powerManager(new PowerManager(*_impl)) {
  _nowPlaying.setObserver([this](const NowPlayingState& state) {
    _impl->awake.setPaused(_nowPlaying.isPaused());
    _impl->thread.async([impl = _impl.get(), state] { impl->mpris.show(state); });
  });
}

SystemIntegration::~SystemIntegration() { stop(); }

void SystemIntegration::start() {
  _impl->thread.async([impl = _impl.get()] {
    impl->sessionBus.start();
    impl->systemBus.start();
  });
  _impl->thread.start();
}

void SystemIntegration::beginShutdown() {
  _impl->thread.async([impl = _impl.get()] { impl->display.becomeIdleNow(); });
}

void SystemIntegration::stop(platform::Duration commandTimeout) {
  _nowPlaying.setObserver(nullptr);
  const auto done = std::make_shared<std::promise<void>>();
  _impl->thread.async([impl = _impl.get(), done] {
    impl->mpris.show({});
    impl->sessionBus.close();
    impl->systemBus.close();
    impl->display.callWhenIdle([done] { done->set_value(); });
  });
  if (commandTimeout > platform::Duration::zero()) done->get_future().wait_for(commandTimeout);
  _impl->thread.stop();
}

void SystemIntegration::setPresenting(bool presenting) { _impl->awake.setPresenting(presenting); }

void SystemIntegration::setDisplayObserver(std::function<void(bool staysOn)> observer) {
  _impl->displayObserver = std::move(observer);
}

platform::ProcessAssertionService& SystemIntegration::processAssertions() {
  return *_processAssertions;
}

platform::SystemService& SystemIntegration::systemService() { return *_systemService; }

platform::PowerManager& SystemIntegration::powerManager() { return *_powerManager; }

}  // namespace box
