#include "box/sound/SoundRoutes.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

#include <fnmatch.h>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

namespace {

constexpr int kSpeakerType = 3;
constexpr int kInterruptionBegan = 1;
// A sound server that hangs.
constexpr auto kAnswerLimit = std::chrono::seconds(2);

bool isSpeaker(const SoundSink& sink, const std::vector<std::string>& patterns) {
  return sink.deviceType == std::to_string(kSpeakerType) ||
         std::any_of(patterns.begin(), patterns.end(), [&](const std::string& pattern) {
           return fnmatch(pattern.c_str(), sink.name.c_str(), 0) == 0;
         });
}

}  // namespace

std::vector<platform::AudioRoute> routesOfSinks(const std::vector<SoundSink>& sinks,
                                                const std::vector<std::string>& speakerPatterns) {
  std::vector<platform::AudioRoute> routes;
  std::optional<std::size_t> own;
  for (const SoundSink& sink : sinks) {
    const bool speaker = isSpeaker(sink, speakerPatterns);
    const std::size_t index = routes.size();
    routes.push_back({.identifier = sink.name,
                      .deviceType = speaker ? kSpeakerType : 0,
                      .selected = sink.isServerDefault});
    if (!speaker && (!own || (sink.isHardware && !sinks[*own].isHardware))) own = index;
  }
  if (own) routes[*own].isDefault = true;
  return routes;
}

struct SoundRoutes::State {
  State(platform::MainQueue& theQueue, platform::NotificationCenter& theCenter, Setup theSetup,
        SoundServer::Events events)
      : mainQueue(theQueue),
        center(theCenter),
        setup(std::move(theSetup)),
        server(std::move(events)) {}

  platform::MainQueue& mainQueue;
  platform::NotificationCenter& center;
  const Setup setup;
  SoundServer server;
};

/// Answers a fetch once, by the server or by the clock. May outlive the routes.
class SoundRoutes::Controller final : public platform::AudioRoutingController,
                                      public std::enable_shared_from_this<Controller> {
 public:
  explicit Controller(const std::shared_ptr<State>& state) : _state(state) {}

  void fetchAvailableRoutes(
      std::function<void(std::vector<platform::AudioRoute>)> completion) override {
    const auto state = _state.lock();
    if (!state) return;
    _completion = std::move(completion);
    _limit = state->mainQueue.after(kAnswerLimit, [self = weak_from_this()] {
      TVSLogWarning(TVSSystemLog, "The sound server does not answer");
      if (const auto controller = self.lock()) controller->_finish({});
    });
    _fetch(*state, [self = weak_from_this()](std::vector<platform::AudioRoute> routes) {
      if (const auto controller = self.lock()) controller->_finish(std::move(routes));
    });
  }

  void selectRoute(const platform::AudioRoute& route) override {
    const auto state = _state.lock();
    if (state && route.identifier) state->server.selectSink(*route.identifier);
  }

  void selectDefaultRoute() override {
    const auto state = _state.lock();
    if (!state) return;
    // It happens also when the controller has been let go meanwhile.
    _fetch(*state, [self = shared_from_this()](const std::vector<platform::AudioRoute>& routes) {
      for (const platform::AudioRoute& route : routes)
        if (route.isDefault) self->selectRoute(route);
    });
  }

 private:
  using Answer = std::function<void(std::vector<platform::AudioRoute>)>;

  static void _fetch(State& state, Answer answer) {
    state.server.fetchSinks(
        [&mainQueue = state.mainQueue, patterns = state.setup.speakerPatterns,
         answer = std::move(answer)](std::optional<std::vector<SoundSink>> sinks) {
          mainQueue.async(
              [answer, routes = routesOfSinks(std::move(sinks).value_or(std::vector<SoundSink>()),
                                              patterns)] { answer(routes); });
        });
  }

  void _finish(std::vector<platform::AudioRoute> routes) {
    _limit.reset();
    if (const auto completion = std::exchange(_completion, nullptr)) completion(std::move(routes));
  }

  const std::weak_ptr<State> _state;
  Answer _completion;
  platform::Token _limit;
};

SoundRoutes::SoundRoutes(platform::MainQueue& mainQueue, platform::NotificationCenter& center,
                         Setup setup)
    : _state(std::make_shared<State>(mainQueue, center, std::move(setup), [this] {
        return SoundServer::Events{.connectionChanged =
                                       [this](bool connected) {
                                         _onMain([connected](State& state) {
                                           TVSLogNotice(TVSSystemLog, "The sound server is %@",
                                                        connected ? "there" : "not there");
                                           if (connected && state.setup.serverIsThere)
                                             state.setup.serverIsThere();
                                         });
                                       },
                                   .sinkTakenAway = [this] { interrupt(); }};
      }())) {}

SoundRoutes::~SoundRoutes() { stop(); }

void SoundRoutes::start() { _state->server.start(); }

void SoundRoutes::stop() { _state->server.stop(); }

std::shared_ptr<platform::AudioRoutingController> SoundRoutes::makeController(int) {
  return std::make_shared<Controller>(_state);
}

void SoundRoutes::interrupt() { _onMain(_interrupt); }

void SoundRoutes::noteLoss() {
  // A server that answers has taken it away; one that is gone does not.
  _onMain([this](State& state) {
    state.server.fetchSinks([this](const std::optional<std::vector<SoundSink>>& sinks) {
      if (sinks) interrupt();
    });
  });
}

void SoundRoutes::_onMain(std::function<void(State&)> task) {
  // The server's thread, which ends before this does.
  _state->mainQueue.async([state = std::weak_ptr(_state), task = std::move(task)] {
    if (const auto still = state.lock()) task(*still);
  });
}

void SoundRoutes::_interrupt(State& state) {
  TVSLogNotice(TVSSystemLog, "The sound server has taken what plays its output away");
  platform::Dictionary info;
  info.set(platform::TVSAudioSessionInterruptionTypeKey, kInterruptionBegan);
  state.center.post(platform::TVSAudioSessionInterruptionNotification, nullptr, info);
}

}  // namespace box
