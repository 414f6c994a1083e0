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

/// Posted on the process-wide notification center, without sender and info, after a session has
/// been registered or immediately deregistered.
inline constexpr std::string_view TVVorlaneSessionManagerActiveSessionsDidChangeNotification =
    "TVVorlaneSessionManagerActiveSessionsDidChangeNotification";

/// Registry of all sessions, with a state machine that presents the root view controller while a
/// session has something to show.
///
/// A session registers itself with a completion. The manager coalesces the changes of one
/// main-queue turn. Depending on its state it then requests a presentation from the view-service
/// host, fills the slots of the root view controller with the last registered active session of
/// each kind, or dismisses the controller. A completion runs once: when the screen shows the
/// current sessions, or with an error if the presentation has failed.
///
/// Threads: main, no locks. Lifetime: one per process, created on first use. It owns the registered
/// sessions and, during a presentation, the root view controller.
class TVVorlaneSessionManager : public platform::Object,
                                public TVVorlaneMediaViewControllerDelegate,
                                public std::enable_shared_from_this<TVVorlaneSessionManager> {
 public:
  using RegistrationCompletion = std::function<void(const std::optional<platform::Error>& error)>;

  static std::shared_ptr<TVVorlaneSessionManager> sharedInstance();
  /// Used by sharedInstance() only.
  TVVorlaneSessionManager();

  std::string className() const override { return "TVVorlaneSessionManager"; }

  /// Registering a session again adds a second entry and replaces its pending completion.
  void registerSession(const std::shared_ptr<TVVorlaneSession>& session,
                       RegistrationCompletion withCompletionHandler);
  /// If `immediately` is true, the session is removed. Otherwise it is deactivated now and, if it
  /// still exists after 5 s, stopped. A pending completion is kept in both cases.
  void deregisterSession(const std::shared_ptr<TVVorlaneSession>& session, bool immediately);

  /// All registered sessions in the order of registration, including deactivated ones.
  std::vector<std::shared_ptr<TVVorlaneSession>> activeSessions() const { return _sessions; }

  // Return the last registered session of a kind, including deactivated ones. `sessionID` is a
  // number, or none for any session. Any other type matches no session.
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
