#include "box/services/Surroundings.h"

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
#include "box/services/power/StayAwake.h"
#include "box/services/support/ServiceThread.h"

namespace box {

namespace {
/// Reports of somebody's activity within this time are one.
constexpr auto kActivityInterval = std::chrono::seconds(1);
}  // namespace

/// What lives on the service thread, and what decides on the main thread what is wanted of it.
struct Surroundings::Served {
  Served(platform::MainQueue& mainQueue, const platform::Clock& clock, NowPlaying& nowPlaying,
         SurroundingsOptions options, SleepStep sleepStep)
      : display(thread, std::move(options.onActive), std::move(options.onIdle), options.idleDelay,
                options.commandLimit),
        mpris(clock, std::move(options.runtimeFolder),
              [&mainQueue, &nowPlaying](const platform::RemoteCommand& command) {
                mainQueue.async([&nowPlaying, command] { nowPlaying.send(command); });
              }),
        logind(thread, options.sleepStepLimit,
               [this, &mainQueue, step = std::move(sleepStep)] {
                 mainQueue.async([this, step] {
                   step([this] { thread.async([this] { logind.finishSleepStep(); }); });
                 });
               }),
        sessionBus(thread, BusKind::Session, std::move(options.sessionBus)),
        systemBus(thread, BusKind::System, std::move(options.systemBus)),
        awake(mainQueue, options.pauseLimit, [this](const StayAwake::Wish& wish) {
          if (displayObserver) displayObserver(wish.screen);
          thread.async([this, wish] { keepAwake(wish); });
        }) {
    sessionBus.addClient(mpris);
    sessionBus.addClient(screenSaver);
    systemBus.addClient(logind);
  }

  void keepAwake(const StayAwake::Wish& wish) {
    plays = wish.device;
    screenSaver.setKeptAway(wish.screen);
    updateBlocks();
  }
  void setAsserted(bool asserted) {
    isAsserted = asserted;
    updateBlocks();
  }
  void updateBlocks() {
    logind.setBlocksIdle(plays || isAsserted);
    logind.setBlocksSleep(isAsserted);
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
  // Of the service thread.
  bool plays = false;
  bool isAsserted = false;
  // Of the main thread.
  std::function<void(bool)> displayObserver;
  StayAwake awake;
};

/// The system keeps no process from running for being in the background. What it may do is to end
/// one when memory runs out, and which, a process cannot decide for itself: the units do.
class Surroundings::ProcessAssertions final : public platform::ProcessAssertionService {
 public:
  std::shared_ptr<platform::ProcessAssertion> acquire(std::string_view, std::uint32_t,
                                                      std::uint32_t, std::string_view) override {
    return std::make_shared<platform::ProcessAssertion>();
  }
};

class Surroundings::SystemService final : public platform::SystemService {
 public:
  explicit SystemService(Served& served) : _served(served) {}

  void wakeSystem(int) override {
    _served.thread.async([&served = _served] {
      served.reportActivity();
      served.display.becomeActive();
    });
  }

  void setVorlaneSessionActive(bool active) override {
    _served.awake.setSessionActive(active);
    if (active) return;
    _served.thread.async([&served = _served] { served.display.becomeIdle(); });
  }

  void triggerUserActivity() override {
    const auto now = platform::SystemClock().now().time_since_epoch();
    auto last = _lastActivity.load();
    if (now - platform::Duration(last) < kActivityInterval) return;
    if (!_lastActivity.compare_exchange_strong(last, now.count())) return;
    _served.thread.async([&served = _served] { served.reportActivity(); });
  }

 private:
  Served& _served;
  /// On the machine's clock, which begins at its start.
  std::atomic<platform::Duration::rep> _lastActivity = 0;
};

/// An assertion is in effect whenever logind is there, which may be later than it is created.
class Surroundings::PowerManager final : public platform::PowerManager {
 public:
  explicit PowerManager(Served& served) : _served(served) {}

  std::uint32_t createAssertion(const platform::Dictionary&, std::uint32_t* identifier) override {
    _held.insert(++_lastIdentifier);
    if (identifier) *identifier = _lastIdentifier;
    _tell();
    return 0;
  }
  void releaseAssertion(std::uint32_t identifier) override {
    _held.erase(identifier);
    _tell();
  }

 private:
  void _tell() {
    _served.thread.async([&served = _served, any = !_held.empty()] { served.setAsserted(any); });
  }

  Served& _served;
  std::set<std::uint32_t> _held;
  std::uint32_t _lastIdentifier = 0;
};

Surroundings::Surroundings(platform::MainQueue& mainQueue, const platform::Clock& clock,
                           SurroundingsOptions options, SleepStep sleepStep)
    : _nowPlaying(mainQueue, clock),
      _served(new Served(mainQueue, clock, _nowPlaying, std::move(options), std::move(sleepStep))),
      _processAssertions(new ProcessAssertions),
      _systemService(new SystemService(*_served)),
      _powerManager(new PowerManager(*_served)) {
  _nowPlaying.setObserver([this](const NowPlayingState& state) {
    _served->awake.setPaused(_nowPlaying.isPaused());
    _served->thread.async([served = _served.get(), state] { served->mpris.show(state); });
  });
}

Surroundings::~Surroundings() { stop(); }

void Surroundings::start() {
  _served->thread.async([served = _served.get()] {
    served->sessionBus.start();
    served->systemBus.start();
  });
  _served->thread.start();
}

void Surroundings::beginEnd() {
  _served->thread.async([served = _served.get()] { served->display.end(); });
}

void Surroundings::stop(platform::Duration commandLimit) {
  _nowPlaying.setObserver(nullptr);
  const auto done = std::make_shared<std::promise<void>>();
  _served->thread.async([served = _served.get(), done] {
    served->mpris.show({});
    served->sessionBus.close();
    served->systemBus.close();
    served->display.whenDone([done] { done->set_value(); });
  });
  if (commandLimit > platform::Duration::zero()) done->get_future().wait_for(commandLimit);
  _served->thread.stop();
}

void Surroundings::setPresenting(bool presenting) { _served->awake.setPresenting(presenting); }

void Surroundings::setDisplayObserver(std::function<void(bool staysOn)> observer) {
  _served->displayObserver = std::move(observer);
}

platform::ProcessAssertionService& Surroundings::processAssertions() { return *_processAssertions; }

platform::SystemService& Surroundings::systemService() { return *_systemService; }

platform::PowerManager& Surroundings::powerManager() { return *_powerManager; }

}  // namespace box
