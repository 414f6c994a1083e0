#include "sim/Audio.h"

#include <string>
#include <utility>

#include "platform/foundation/Value.h"

namespace sim {

void TVSAudioSession::setConfigurationCallback(
    std::function<void(platform::TVSAudioSession&)> callback) {
  _callback = std::move(callback);
  simulateServiceRestart();
}

void TVSAudioSession::simulateServiceRestart() {
  if (const auto callback = _callback) callback(*this);
}

bool TVSAudioSession::setCategory(platform::AudioCategory category) {
  const bool playback = category == platform::AudioCategory::Playback;
  _journal.add(std::string("audioSession.setCategory(") + (playback ? "Playback" : "Ambient") +
               ")");
  if (_categoryFails) return false;
  _category = category;
  return true;
}

void TVSAudioSession::interrupt(bool begins) {
  _center.post(platform::TVSAudioSessionInterruptionNotification, nullptr,
               {{std::string(platform::TVSAudioSessionInterruptionTypeKey), begins ? 1 : 0}});
}

struct AudioRoutingService::State {
  State(platform::MainQueue& theMainQueue, Journal& theJournal)
      : mainQueue(theMainQueue), journal(theJournal) {}

  template <typename Predicate>
  void select(const Predicate& predicate) {
    if (selectionHandler) selectionHandler();
    for (platform::AudioRoute& route : routes) route.selected = predicate(route);
  }

  platform::MainQueue& mainQueue;
  Journal& journal;
  std::vector<platform::AudioRoute> routes;
  platform::Duration delay{};
  int controllers = 0;
  std::function<void()> selectionHandler;
};

class AudioRoutingService::Controller final : public platform::AudioRoutingController {
 public:
  explicit Controller(std::shared_ptr<State> state) : _state(std::move(state)) {
    ++_state->controllers;
  }
  ~Controller() override { --_state->controllers; }

  void fetchAvailableRoutes(
      std::function<void(std::vector<platform::AudioRoute>)> completion) override {
    _state->journal.add("audioRouting.fetchAvailableRoutes()");
    auto answer = [state = _state.get(), completion = std::move(completion)] {
      completion(state->routes);
    };
    _answers.push_back(_state->mainQueue.after(_state->delay, std::move(answer)));
  }

  void selectRoute(const platform::AudioRoute& route) override {
    _state->journal.add("audioRouting.selectRoute(" + route.identifier.value_or("") + ")");
    _state->select(
        [&](const platform::AudioRoute& one) { return one.identifier == route.identifier; });
  }

  void selectDefaultRoute() override {
    _state->journal.add("audioRouting.selectDefaultRoute()");
    _state->select([](const platform::AudioRoute& one) { return one.isDefault; });
  }

 private:
  std::shared_ptr<State> _state;
  std::vector<platform::Token> _answers;
};

AudioRoutingService::AudioRoutingService(platform::MainQueue& mainQueue, Journal& journal)
    : _state(std::make_shared<State>(mainQueue, journal)) {}

std::shared_ptr<platform::AudioRoutingController> AudioRoutingService::makeController(
    int discoveryMode) {
  _state->journal.add("audioRouting.makeController(" + std::to_string(discoveryMode) + ")");
  return std::make_shared<Controller>(_state);
}

void AudioRoutingService::setRoutes(std::vector<platform::AudioRoute> routes) {
  _state->routes = std::move(routes);
}

const std::vector<platform::AudioRoute>& AudioRoutingService::routes() const {
  return _state->routes;
}

void AudioRoutingService::setFetchDelay(platform::Duration delay) { _state->delay = delay; }

void AudioRoutingService::setSelectionHandler(std::function<void()> handler) {
  _state->selectionHandler = std::move(handler);
}

int AudioRoutingService::controllers() const { return _state->controllers; }

void NowPlayingService::setEligible(bool eligible) {
  _eligible = eligible;
  _journal.add(std::string("nowPlaying.setEligible(") + std::string(platform::yesNo(eligible)) +
               ")");
}

void NowPlayingService::setNowPlayingInfo(const platform::Dictionary& info, int mergePolicy) {
  _journal.add("nowPlaying.setNowPlayingInfo(" + std::to_string(mergePolicy) + ")");
  _publishedInfos.push_back(info);
  if (mergePolicy == 0) {
    _info.merge(info);
  } else {
    _info = info;
  }
}

void NowPlayingService::setPlaybackState(platform::NowPlayingPlaybackState state) {
  _playbackState = state;
  _journal.add("nowPlaying.setPlaybackState(" + std::to_string(static_cast<unsigned>(state)) + ")");
}

bool NowPlayingService::send(const platform::RemoteCommand& command) {
  _journal.add("nowPlaying.send(" + std::to_string(static_cast<int>(command.kind)) + ")");
  auto* const target = _targets.current();
  if (target) target->handleRemoteCommand(command);
  return target != nullptr;
}

std::optional<platform::RemotePlayback> NowPlayingService::playback() const {
  const auto* const target = _targets.current();
  return target ? std::optional(target->remotePlayback()) : std::nullopt;
}

}  // namespace sim
