#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "TVVorlane/TVVorlaneSession.h"
#include "platform/foundation/Dictionary.h"
#include "platform/foundation/queues/Clock.h"

namespace random_sessions {

/// What is known of a session from its registration and its events, and the rules for its events.
/// Each function returns the rule that is broken, or an empty string.
class EventRules {
 public:
  EventRules(const std::shared_ptr<TVVorlaneSession>& session, platform::TimePoint now);

  std::string onEvent(const std::string& name, const platform::Dictionary& info,
                      platform::TimePoint now);
  std::string onDeregistration();
  /// Checks a session that is registered, when nothing is due.
  std::string atRest(platform::TimePoint now);

  /// Before a call that addresses the session. `removes`: the identifier of a "playlistRemove".
  void beginCall(bool ends, const std::optional<std::string>& removes);
  void endCall();
  /// True, once, if the request awaited an answer.
  bool takeRequest(std::uint64_t identifier) { return _requests.erase(identifier) > 0; }
  bool awaitsAnswer(std::uint64_t identifier) const { return _requests.contains(identifier); }

  std::weak_ptr<TVVorlaneSession> session() const { return _session; }
  std::size_t requestCount() const { return _requests.size(); }
  std::uint32_t sessionID() const { return _sessionID; }
  std::int64_t type() const { return _type; }
  bool isRegistered() const { return _registered; }
  /// Whether the sender has had the time to end a session that the user has stopped.
  bool isOverdue(platform::TimePoint now) const;

 private:
  bool _isURLSession() const;
  bool _isInfoSession() const;
  std::string _onState(const std::string& name, const platform::Dictionary& info);
  std::string _onItem(const std::string& name, const platform::Dictionary& info);
  std::string _onUserStop(const platform::Dictionary& info, platform::TimePoint now);
  std::string _playerAtRest();

  std::weak_ptr<TVVorlaneSession> _session;
  std::uint32_t _sessionID;
  std::int64_t _type;
  platform::TimePoint _registration;
  bool _registered = true;
  std::optional<platform::TimePoint> _userStop;

  // Of a session that plays a URL.
  std::string _state;
  std::optional<std::string> _uuid;
  std::set<std::string> _removed;
  std::optional<std::string> _removedByCall;
  bool _isEndedByCall = false;
  /// The event that has to follow.
  std::string _next;
  /// An item may have reached its end without an action. Its state is "playing".
  bool _mayRest = false;
  /// The last event was the end of an item after which playback goes on or ends with "ended".
  bool _advances = false;
  std::set<std::uint64_t> _requests;
};

}  // namespace random_sessions
