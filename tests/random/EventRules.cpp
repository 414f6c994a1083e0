#include "tests/random/EventRules.h"

#include <array>
#include <cmath>
#include <initializer_list>
#include <string_view>
#include <utility>

#include "TVVorlane/TVVorlaneURLSession.h"
#include "platform/media/TVSPlayer.h"

namespace random_sessions {

using platform::Dictionary;
using platform::TimePoint;
namespace Type = TVVorlaneSessionType;

namespace {

/// Limits of a session that the user has stopped, and of a session that informs the user.
constexpr auto kUserStopLimit = std::chrono::seconds(5);
constexpr auto kInfoLimit = std::chrono::seconds(30);
constexpr double kTolerance = 1e-6;

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
  for (const auto each : names) {
    if (each == name) return true;
  }
  return false;
}

std::string eventOfState(TVSPlaybackState state) {
  switch (state) {
    case TVSPlaybackState::Loading:
      return "loading";
    case TVSPlaybackState::Paused:
      return "paused";
    case TVSPlaybackState::Stopped:
      return "stopped";
    default:
      return "playing";
  }
}

std::optional<std::string> currentUUID(const TVVorlaneSession& session) {
  const auto* url = dynamic_cast<const TVVorlaneURLSession*>(&session);
  const auto item = url && url->player() ? url->player()->currentMediaItem() : nullptr;
  if (!item) return std::nullopt;
  const auto uuid = item->metadata("TVVorlaneMediaItemMetadataUUID");
  return uuid.asString() ? std::optional(*uuid.asString()) : std::nullopt;
}

std::string orNone(const std::optional<std::string>& uuid) {
  return uuid.value_or("no identifier");
}

}  // namespace

EventRules::EventRules(const std::shared_ptr<TVVorlaneSession>& session, TimePoint now)
    : _session(session),
      _sessionID(session->sessionID()),
      _type(session->sessionType()),
      _registration(now),
      _uuid(currentUUID(*session)) {}

bool EventRules::_isURLSession() const {
  return _type == Type::kVideo || _type == Type::kAudioOnly;
}

bool EventRules::_isInfoSession() const { return _type == Type::kPin || _type == Type::kDialog; }

void EventRules::beginCall(bool ends, const std::optional<std::string>& removes) {
  _isEndedByCall = ends;
  _removedByCall = removes;
}

void EventRules::endCall() {
  _isEndedByCall = false;
  _removedByCall.reset();
  // Without playback the current item changes without an event.
  const auto session = _session.lock();
  if (session && _state == "stopped") _uuid = currentUUID(*session);
}

std::string EventRules::onDeregistration() {
  _registered = false;
  _requests.clear();
  return {};
}

std::string EventRules::onEvent(const std::string& name, const Dictionary& info, TimePoint now) {
  if (!_registered) return "event '" + name + "' of a session that has ended";
  if (_isEndedByCall) return "event '" + name + "' of a session that its sender ends";
  if (!_next.empty() && name != _next) return "event '" + name + "' instead of '" + _next + "'";
  _next.clear();
  if (std::exchange(_advances, false) && name == "stopped" && !_userStop)
    return "'stopped' after the last item without 'ended'";
  if (name == "userStop") return _onUserStop(info, now);
  if (_type == Type::kStreamingAudio) return name == "stopAudio" ? "" : "event of streamed audio";
  if (_isInfoSession()) return "event of an info session";
  if (_type == Type::kPresentation) {
    return isOneOf(name, {"userUp", "userDown", "userPrevious", "userNext", "userSelect",
                          "userPlayPause"})
               ? ""
               : "event of a presentation";
  }
  if (isOneOf(name, {"loading", "playing", "paused", "stopped"})) return _onState(name, info);
  if (isOneOf(name, {"itemPlayedToEnd", "itemRemoved", "currentItemChanged"}))
    return _onItem(name, info);
  if (name == "failedURLRequest") {
    const auto identifier = info.number("FCUP_Request_RequestID");
    if (!identifier) return "request without an identifier";
    if (!_requests.insert(identifier->uint64Value()).second) return "identifier of two requests";
    return {};
  }
  if (name == "ended") {
    _next = "stopped";
    return {};
  }
  return isOneOf(name, {"userNext", "userPrevious", "selectedMediaArrayChanged"})
             ? ""
             : "unknown event '" + name + "'";
}

std::string EventRules::_onUserStop(const Dictionary& info, TimePoint now) {
  if (info.get("sessionID") != platform::Value(_sessionID) ||
      info.get("userExit") != platform::Value(true))
    return "info of 'userStop'";
  // Streamed audio is ended by its sender only.
  if (!_userStop && _type != Type::kStreamingAudio) _userStop = now;
  return {};
}

std::string EventRules::_onState(const std::string& name, const Dictionary& info) {
  if (name == _state && name != "playing") return "state '" + name + "' announced twice";
  if (name == "stopped") {
    if (info.get("sessionID") != platform::Value(_sessionID)) return "number in 'stopped'";
    if (info.contains("userExit") != _userStop.has_value() ||
        info.contains("reason") == _userStop.has_value())
      return "reason in 'stopped'";
  }
  if (name == "playing") {
    if (info.get("readyToPlay") != platform::Value(1))
      return "'playing' of an item that is not ready";
    if (info.string("uuid") != _uuid)
      return "'playing' of " + orNone(info.string("uuid")) + ", the current item is " +
             orNone(_uuid);
  }
  _state = name;
  return {};
}

std::string EventRules::_onItem(const std::string& name, const Dictionary& info) {
  const auto uuid = info.string("uuid");
  if (name == "itemPlayedToEnd") {
    if (uuid != _uuid) return "end of " + orNone(uuid) + ", the current item is " + orNone(_uuid);
    const auto session = std::dynamic_pointer_cast<TVVorlaneURLSession>(_session.lock());
    _advances = session && session->player() &&
                session->player()->mediaItemEndAction() == TVSMediaItemEndAction::Advance;
    // An item that starts at its end does not play.
    return _state != "stopped" ? "" : "end of an item in state 'stopped'";
  }
  if (name == "itemRemoved") {
    if (uuid != _uuid && uuid != _removedByCall)
      return "removal of " + orNone(uuid) + ", the current item is " + orNone(_uuid);
    const bool isNew = _removed.insert(uuid.value_or("")).second;
    if (!isNew && uuid != _removedByCall) return "item removed twice";
    return {};
  }
  if (uuid && _removed.contains(*uuid)) return "change to an item that was removed";
  if (_uuid && !_removed.contains(*_uuid)) return "change without the removal of " + *_uuid;
  _uuid = uuid;
  return {};
}

std::string EventRules::atRest(TimePoint now) {
  if (!_next.empty()) return "'" + _next + "' is missing";
  const auto session = _session.lock();
  if (!session || !_registered) return "session does not exist";
  if (session->deactivated() != _userStop.has_value())
    return "deactivation does not match 'userStop'";
  if (isOverdue(now)) return "session outlives the user's stop";
  if (_isInfoSession() && now - _registration >= kInfoLimit) return "info session without timeout";
  return _isURLSession() ? _playerAtRest() : "";
}

bool EventRules::isOverdue(TimePoint now) const {
  return _userStop && now - *_userStop >= kUserStopLimit;
}

std::string EventRules::_playerAtRest() {
  const auto session = std::dynamic_pointer_cast<TVVorlaneURLSession>(_session.lock());
  if (!session || !session->player()) return "session without a player";
  const auto& player = *session->player();
  const auto state = eventOfState(player.state());
  if (state != _state) return "player is '" + state + "', announced '" + _state + "'";
  const bool isMoving = player.rate() != 0;
  _mayRest = _mayRest || player.mediaItemEndAction() == TVSMediaItemEndAction::None;
  if (isMoving != (state == "playing") && (isMoving || !_mayRest))
    return "rate in state '" + state + "'";
  if (player.currentMediaItem() && currentUUID(*session) != _uuid)
    return "current item is " + orNone(currentUUID(*session)) + ", announced " + orNone(_uuid);
  if (!(player.volume() >= 0 && player.volume() <= 1)) return "volume";
  const double elapsed = player.elapsedTime();
  if (!std::isfinite(elapsed) || elapsed < 0) return "position " + std::to_string(elapsed);
  if (player.duration() > 0 && elapsed > player.duration() + kTolerance)
    return "position " + std::to_string(elapsed) + " of " + std::to_string(player.duration());
  if (session->resourceLoadingRequests().size() != _requests.size()) return "number of requests";
  const auto& playlist = *session->playlist();
  if (playlist.currentIndex().value_or(0) != 0) return "items before the current one";
  return {};
}

}  // namespace random_sessions
