#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "TVVorlane/TVVorlaneSession.h"
#include "TVVorlane/screens/TVVorlaneMediaViewControllerDelegate.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/TVSStateMachine.h"
#include "platform/foundation/Token.h"

class TVVorlaneInfoSession;
class TVVorlanePresentationSession;
class TVVorlaneStreamingAudioSession;
class TVVorlaneURLSession;

/// Posted on the process-wide notification centre, without sender or info, when a session was
/// registered or deregistered immediately.
inline constexpr std::string_view TVVorlaneSessionManagerActiveSessionsDidChangeNotification =
    "TVVorlaneSessionManagerActiveSessionsDidChangeNotification";

/// The one registry of sessions, and the state machine that has the root view controller presented
/// while there is something to show.
///
/// A session registers itself with a completion. The manager gathers all changes of a turn, and by
/// the state it is in asks the view-service host for a presentation, fills the root view
/// controller's slots (the last registered active session of each kind), or dismisses it. A
/// completion is called once: when the screen is as the sessions want it, with the error when the
/// presentation failed.
///
/// Threads: main, no locks. Lifetime: one a process, made on first use; it owns the registered
/// sessions and, while it is presented, the root view controller.
class TVVorlaneSessionManager : public platform::Object,
                                public TVVorlaneMediaViewControllerDelegate,
                                public std::enable_shared_from_this<TVVorlaneSessionManager> {
 public:
  using RegistrationCompletion = std::function<void(const std::optional<platform::Error>& error)>;

  static std::shared_ptr<TVVorlaneSessionManager> sharedInstance();
  /// For sharedInstance() alone.
  TVVorlaneSessionManager();

  std::string className() const override { return "TVVorlaneSessionManager"; }

  /// A second registration of the same session stands twice and replaces its completion.
  void registerSession(const std::shared_ptr<TVVorlaneSession>& session,
                       RegistrationCompletion withCompletionHandler);
  /// Immediately: the session leaves the registry. Otherwise it is deactivated at once and, if it
  /// still exists 5 s later, stopped. Its pending completion stays either way.
  void deregisterSession(const std::shared_ptr<TVVorlaneSession>& session, bool immediately);

  /// All registered sessions, deactivated ones included, in the order of registration.
  std::vector<std::shared_ptr<TVVorlaneSession>> activeSessions() const { return _sessions; }

  // The last registered session of the kind, deactivated ones included. `sessionID` is a number, or
  // none for any; what is neither names no session.
  std::shared_ptr<TVVorlaneInfoSession> infoSessionWithID(const platform::Value& sessionID) const;
  std::shared_ptr<TVVorlanePresentationSession> presentationSessionWithID(
      const platform::Value& sessionID) const;
  std::shared_ptr<TVVorlaneStreamingAudioSession> streamingSessionWithID(
      const platform::Value& sessionID) const;
  std::shared_ptr<TVVorlaneURLSession> urlSessionWithID(const platform::Value& sessionID) const;

  void mediaViewControllerDidBecomeReady(
      const std::shared_ptr<TVVorlaneMediaViewController>& controller) override;
  void mediaViewControllerDidDismiss(
      const std::shared_ptr<TVVorlaneMediaViewController>& controller) override;

  const TVSStateMachine& stateMachine() const { return *_stateMachine; }
  const std::shared_ptr<TVVorlaneMediaViewController>& mediaViewController() const {
    return _mediaViewController;
  }

 private:
  using SessionPtr = std::shared_ptr<TVVorlaneSession>;

  void _initializeStateMachine();
  SessionPtr _sessionOfType(std::int64_t type, const platform::Value& identifier,
                            bool activeOnly) const;
  template <typename Session>
  std::shared_ptr<Session> _activeSession(std::int64_t type) const;
  bool _hasActiveVisualSession() const;
  void _updateForSessionChange();
  void _updatePresentedViewController();
  void _stopExcessSessions();
  void _callPendingCompletionHandlersWithError(const std::optional<platform::Error>& error);
  void _postActiveSessionsDidChange();

  std::string _handleBackgroundSessionUpdate();
  std::string _handleMovedToForeground(const platform::Dictionary& info);
  std::string _handleForegroundUpdate();
  void _fillSlots();
  void _clearSlots();
  std::string _cleanupWithError(const std::optional<platform::Error>& error);
  void _requestMediaViewController();

  std::vector<SessionPtr> _sessions;
  std::vector<std::pair<SessionPtr, RegistrationCompletion>> _pendingCompletionHandlers;
  std::shared_ptr<TVSStateMachine> _stateMachine;
  std::shared_ptr<TVVorlaneMediaViewController> _mediaViewController;
  platform::Token _scheduledUpdate;
};
