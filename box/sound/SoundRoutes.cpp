#include "box/sound/SoundRoutes.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

#include <fnmatch.h>

#include "platform/foundation/Value.h"
#include "platform/foundation/log/TVSLogger.h"

namespace box {

namespace {

constexpr int kSpeakerType = 3;
constexpr int kInterruptionBegan = 1;
// Timeout, in case the sound server hangs.
constexpr auto kReplyTimeout = std::chrono::seconds(2);

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
  std::optional<std::size_t> ownRoute;
  for (const SoundSink& sink : sinks) {
    const bool speaker = isSpeaker(sink, speakerPatterns);
    const std::size_t index = routes.size();
    routes.push_back({.identifier = sink.name,
                      .deviceType = speaker ? kSpeakerType : 0,
                      .selected = sink.isServerDefault});
    if (!speaker && (!ownRoute || (sink.isHardware && !sinks[*ownRoute].isHardware)))
      ownRoute = index;
  }
  if (ownRoute) routes[*ownRoute].isDefault = true;
  return routes;
}

struct SoundRoutes::State {
  State(platform::MainQueue& queue, platform::NotificationCenter& notificationCenter,
        Setup theOptions, SoundServer::Events events)
      : mainQueue(queue),
        center(notificationCenter),
        setup(std::move(theOptions)),
        server(std::move(events)) {}

  platform::MainQueue& mainQueue;
  platform::NotificationCenter& center;
  const Setup setup;
  SoundServer server;
};

/// Completes a fetch once, with the reply or after the timeout. May outlive SoundRoutes.
class SoundRoutes::Controller final : public platform::AudioRoutingController,
                                      public std::enable_shared_from_this<Controller> {
 public:
  explicit Controller(const std::shared_ptr<State>& state) : _state(state) {}

  void fetchAvailableRoutes(
      std::function<void(std::vector<platform::AudioRoute>)> completion) override {
    const auto state = _state.lock();
    if (!state) return;
    _completion = std::move(completion);
    _timeout = state->mainQueue.after(kReplyTimeout, [self = weak_from_this()] {
      TVSLogWarning(TVSSystemLog, "The sound server does not reply");
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
    // Holds this object, so that the selection happens even if the caller releases it.
    _fetch(*state, [self = shared_from_this()](const std::vector<platform::AudioRoute>& routes) {
      for (const platform::AudioRoute& route : routes)
        if (route.isDefault) self->selectRoute(route);
    });
  }

 private:
  using Callback = std::function<void(std::vector<platform::AudioRoute>)>;

  static void _fetch(State& state, Callback callback) {
    state.server.fetchSinks(
        [&mainQueue = state.mainQueue, patterns = state.setup.speakerPatterns,
         callback = std::move(callback)](std::optional<std::vector<SoundSink>> sinks) {
          mainQueue.async(
              [callback, routes = routesOfSinks(std::move(sinks).value_or(std::vector<SoundSink>()),
                                                patterns)] { callback(routes); });
        });
  }

  void _finish(std::vector<platform::AudioRoute> routes) {
    _timeout.reset();
    if (const auto completion = std::exchange(_completion, nullptr)) completion(std::move(routes));
  }

  const std::weak_ptr<State> _state;
  Callback _completion;
  platform::Token _timeout;
};

SoundRoutes::SoundRoutes(platform::MainQueue& mainQueue, platform::NotificationCenter& center,
                         Setup setup)
    : _state(std::make_shared<State>(mainQueue, center, std::move(setup), [this] {
        return SoundServer::Events{.connectionChanged =
                                       [this](bool connected) {
                                         _onMain([connected](State& state) {
                                           TVSLogNotice(
                                               TVSSystemLog, "%@ the sound server",
                                               connected ? "Connected to" : "Not connected to");
                                           if (connected && state.setup.serverDidConnect)
                                             state.setup.serverDidConnect();
                                         });
                                       },
                                   .sinkRemoved = [this] { interrupt(); }};
      }())) {}

SoundRoutes::~SoundRoutes() { stop(); }

void SoundRoutes::start() { _state->server.start(); }

void SoundRoutes::stop() { _state->server.stop(); }

std::shared_ptr<platform::AudioRoutingController> SoundRoutes::makeController(int) {
  return std::make_shared<Controller>(_state);
}

void SoundRoutes::interrupt() { _onMain(_interrupt); }

void SoundRoutes::handleDeviceLoss() {
  // If the server still replies, it has removed the sink. If it is gone, this is no interruption.
  _onMain([this](State& state) {
    state.server.fetchSinks([this](const std::optional<std::vector<SoundSink>>& sinks) {
      if (sinks) interrupt();
    });
  });
}

void SoundRoutes::_onMain(std::function<void(State&)> task) {
  // Called on the server's thread, which is joined before this object is destroyed.
  _state->mainQueue.async([state = std::weak_ptr(_state), task = std::move(task)] {
    if (const auto still = state.lock()) task(*still);
  });
}

void SoundRoutes::_interrupt(State& state) {
  TVSLogNotice(TVSSystemLog, "The audio output of this process was removed");
  platform::Dictionary info;
  info.set(platform::TVSAudioSessionInterruptionTypeKey, kInterruptionBegan);
  state.center.post(platform::TVSAudioSessionInterruptionNotification, nullptr, info);
}

}  // namespace box
