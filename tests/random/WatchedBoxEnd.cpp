// The end of a random session: everything has to go, and a video has to play.

#include <algorithm>
#include <chrono>

#include "sim/MediaLibrary.h"
#include "tests/random/WatchedBox.h"

namespace random_sessions {

using namespace std::chrono_literals;
using platform::Dictionary;
namespace Type = TVVorlaneSessionType;

namespace {

/// Longer than every timer of the application.
constexpr auto kEverythingEnds = 60s;

/// The call that ends a session.
scenarios::Call endOf(const EventRules& session) {
  const Dictionary parameters{{"sessionID", session.sessionID()}};
  switch (session.type()) {
    case Type::kStreamingAudio:
      return {"StopAudio", {parameters}};
    case Type::kPresentation:
      return {"StopPresentation", {parameters}};
    case Type::kVideo:
    case Type::kAudioOnly:
      return {"StopVideo", {parameters}};
    default:
      return {"Perform", {"hidePIN", Dictionary()}};
  }
}

}  // namespace

void WatchedBox::checkEnd() {
  host({"accept"});
  for (const char* service : {"power", "notifications", "tokens", "category", "layers"})
    _box.system({"works", service});
  _box.finishCalls();
  checkAtRest();
  _endSessions();
  _box.advance(kEverythingEnds);
  checkAtRest();
  _checkNothingIsLeft();
}

void WatchedBox::_endSessions() {
  // Each call ends one session.
  for (auto left = _registry.size(); left > 0 && !_registry.empty(); --left) {
    call(endOf(*_registry.back()));
    checkAtRest();
  }
  _require(_registry.empty(), "session cannot be ended");
}

void WatchedBox::checkPlayback() {
  _box.addMedia("probe.mp4", Dictionary{{"duration", 100}});
  const Dictionary parameters{{"Content-Location", mediaRoot() + "/probe.mp4"}, {"sessionID", 77}};
  const auto playing = _eventCounts["playing"];
  _require(call({"StartVideo", {parameters}}).status == 0, "a new video does not start");
  _box.advance(1s);
  checkAtRest();
  _require(_eventCounts["playing"] == playing + 1, "a new video does not play");
  _require(call({"StopVideo", {Dictionary{{"sessionID", 77}}}}).status == 0, "it does not stop");
  _box.advance(kEverythingEnds);
  checkAtRest();
  _checkNothingIsLeft();
}

void WatchedBox::_checkNothingIsLeft() {
  auto& box = _box.box();
  _require(_manager().stateMachine().currentState() == "Background", "state at the end");
  _require(_manager().activeSessions().empty(), "a session is registered at the end");
  _require(!_manager().mediaViewController(), "a root view controller is left");
  _require(!box.viewServiceHost().isPresenting(), "the host presents at the end");
  _require(!box.screen().isOpen(), "the screen is open at the end");
  _require(!box.remoteInputLimiting().isViewServiceActive(), "the remote is active at the end");
  _require(box.mediaLibrary().engines().empty(), "an engine is left");
  _require(!box.nowPlaying().playback(), "a target of remote commands is left");
  _require(!box.mainQueue().nextDeadline(), "a timer is left");
  _require(_notificationsFailed || box.powerManager().held().empty(), "a power assertion is left");
  _require(box.processAssertions().held() == 1, "number of process assertions");
  _require(box.audioRouting().controllers() == 0, "an audio routing controller is left");
  const auto& layers = box.layers().made();
  _require(
      std::none_of(layers.begin(), layers.end(), [](const auto& layer) { return layer->isOpen(); }),
      "a layer is open at the end");
  for (const auto& [_, rules] : _rules)
    _require(rules->session().expired(), "a session object is left");
}

}  // namespace random_sessions
