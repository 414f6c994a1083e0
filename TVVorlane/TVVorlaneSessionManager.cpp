#include "TVVorlane/TVVorlaneSessionManager.h"

#include <algorithm>
#include <chrono>

#include "TVVorlane/TVVorlaneInfoSession.h"
#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlanePresentationSession.h"
#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "TVVorlane/TVVorlaneStreamingAudioSession.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "TVVorlane/screens/TVVorlaneMediaViewController.h"
#include "platform/foundation/Assertion.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/services/Platform.h"
#include "platform/ui/controllers/ViewServiceHost.h"

using namespace std::chrono_literals;
using platform::Platform;
namespace Type = TVVorlaneSessionType;

namespace {

constexpr std::string_view kBackground = "Background";
constexpr std::string_view kMovingToForeground = "Moving to Foreground";
constexpr std::string_view kForeground = "Foreground";
constexpr std::string_view kMovingToBackground = "Moving to Background";

constexpr std::string_view kSessionsUpdated = "Sessions Updated";
constexpr std::string_view kMovedToForeground = "Moved To Foreground";
constexpr std::string_view kMovedToBackground = "Moved To Background";
constexpr std::string_view kError = "Error";

constexpr std::string_view kViewControllerKey = "View Controller";
constexpr std::string_view kErrorKey = "Error";

/// Time for the sender to stop a session that the user has stopped on the box.
constexpr auto kDelayedDeregistration = 5s;
/// Limits threads and memory: each session may own a player.
constexpr std::size_t kMaxSessions = 16;

/// Wraps an error, so that the user info of an event can hold it.
class ErrorObject final : public platform::Object {
 public:
  explicit ErrorObject(platform::Error error) : _error(std::move(error)) {}
  std::string className() const override { return "Error"; }
  std::string description() const override { return _error.description(); }
  const platform::Error& error() const { return _error; }

 private:
  platform::Error _error;
};

}  // namespace

std::shared_ptr<TVVorlaneSessionManager> TVVorlaneSessionManager::sharedInstance() {
  return Platform::current().sharedInstance<TVVorlaneSessionManager>();
}

TVVorlaneSessionManager::TVVorlaneSessionManager() { _initializeStateMachine(); }

void TVVorlaneSessionManager::_initializeStateMachine() {
  _stateMachine = std::make_shared<TVSStateMachine>(Platform::current().mainQueue(), className(),
                                                    std::string(kBackground), 0);
  _stateMachine->setLogComponent(std::string(TVVLSessionManager));

  const auto on = [this](std::string_view state, std::string_view event,
                         TVSStateMachine::Handler handler) {
    _stateMachine->registerHandler(std::string(event), std::string(state), std::move(handler));
  };
  on(kBackground, kSessionsUpdated,
     [this](const auto&) { return _handleBackgroundSessionUpdate(); });
  on(kMovingToForeground, kMovedToForeground, [this](const TVSStateMachine::Event& event) {
    return _handleMovedToForeground(event.userInfo);
  });
  on(kMovingToForeground, kError, [this](const TVSStateMachine::Event& event) {
    const auto carried =
        std::dynamic_pointer_cast<ErrorObject>(event.userInfo.get(kErrorKey).asObject());
    return _cleanupWithError(carried ? std::optional(carried->error()) : std::nullopt);
  });
  on(kForeground, kSessionsUpdated, [this](const auto&) { return _handleForegroundUpdate(); });
  on(kMovingToBackground, kMovedToBackground, [this](const auto&) {
    _mediaViewController = nullptr;
    return _handleBackgroundSessionUpdate();
  });

  _stateMachine->setShouldAcceptEvents(true);
}

void TVVorlaneSessionManager::registerSession(const SessionPtr& session,
                                              RegistrationCompletion withCompletionHandler) {
  TVSLogNotice(TVVLSessionManager, "Register session %@", session);
  _sessions.push_back(session);
  const auto pending =
      std::find_if(_pendingCompletionHandlers.begin(), _pendingCompletionHandlers.end(),
                   [&](const auto& entry) { return entry.first == session; });
  if (pending != _pendingCompletionHandlers.end()) {
    pending->second = std::move(withCompletionHandler);
  } else {
    _pendingCompletionHandlers.emplace_back(session, std::move(withCompletionHandler));
  }
  _updateForSessionChange();
  _postActiveSessionsDidChange();
}

void TVVorlaneSessionManager::deregisterSession(const SessionPtr& session, bool immediately) {
  TVSLogNotice(TVVLSessionManager, "Deregister session %@ immediately %d", session, immediately);
  if (immediately) {
    std::erase(_sessions, session);
    _updateForSessionChange();
    _postActiveSessionsDidChange();
    return;
  }
  session->setDeactivated(true);
  _updateForSessionChange();
  Platform::current()
      .mainQueue()
      .after(kDelayedDeregistration,
             [weak = std::weak_ptr(session)] {
               if (auto existing = weak.lock()) {
                 TVSLogNotice(TVVLSessionManager, "Timed out, manually deregistering session: %@",
                              existing);
                 existing->stopWithOptions({}, nullptr);
               }
             })
      .detach();
}

void TVVorlaneSessionManager::_postActiveSessionsDidChange() {
  Platform::current().notificationCenter().post(
      TVVorlaneSessionManagerActiveSessionsDidChangeNotification);
}

TVVorlaneSessionManager::SessionPtr TVVorlaneSessionManager::_sessionOfType(
    std::int64_t type, const platform::Value& identifier, bool activeOnly) const {
  const auto* number = identifier.asNumber();
  if (!number && !identifier.isNone()) return nullptr;
  const auto found =
      std::find_if(_sessions.rbegin(), _sessions.rend(), [&](const SessionPtr& session) {
        return session->sessionType() == type &&
               (!number || session->sessionID() == number->wrappedUInt32Value()) &&
               !(activeOnly && session->deactivated());
      });
  return found != _sessions.rend() ? *found : nullptr;
}

template <typename Session>
std::shared_ptr<Session> TVVorlaneSessionManager::_activeSession(std::int64_t type) const {
  return std::static_pointer_cast<Session>(_sessionOfType(type, {}, true));
}

std::shared_ptr<TVVorlaneInfoSession> TVVorlaneSessionManager::infoSessionWithID(
    const platform::Value& sessionID) const {
  auto session = _sessionOfType(Type::kDialog, sessionID, false);
  if (!session) session = _sessionOfType(Type::kPin, sessionID, false);
  return std::static_pointer_cast<TVVorlaneInfoSession>(session);
}

std::shared_ptr<TVVorlanePresentationSession> TVVorlaneSessionManager::presentationSessionWithID(
    const platform::Value& sessionID) const {
  return std::static_pointer_cast<TVVorlanePresentationSession>(
      _sessionOfType(Type::kPresentation, sessionID, false));
}

std::shared_ptr<TVVorlaneStreamingAudioSession> TVVorlaneSessionManager::streamingSessionWithID(
    const platform::Value& sessionID) const {
  return std::static_pointer_cast<TVVorlaneStreamingAudioSession>(
      _sessionOfType(Type::kStreamingAudio, sessionID, false));
}

std::shared_ptr<TVVorlaneURLSession> TVVorlaneSessionManager::urlSessionWithID(
    const platform::Value& sessionID) const {
  auto session = _sessionOfType(Type::kVideo, sessionID, false);
  if (!session) session = _sessionOfType(Type::kAudioOnly, sessionID, false);
  return std::static_pointer_cast<TVVorlaneURLSession>(session);
}

void TVVorlaneSessionManager::mediaViewControllerDidBecomeReady(
    const std::shared_ptr<TVVorlaneMediaViewController>& controller) {
  TVSLogNotice(TVVLSessionManager, "mediaViewControllerDidBecomeReady:  %@", controller);
  platform::Dictionary userInfo;
  userInfo.set(kViewControllerKey, std::static_pointer_cast<platform::Object>(controller));
  _stateMachine->postEvent(kMovedToForeground, {}, std::move(userInfo));
}

void TVVorlaneSessionManager::mediaViewControllerDidDismiss(
    const std::shared_ptr<TVVorlaneMediaViewController>& controller) {
  TVSLogNotice(TVVLSessionManager, "mediaViewControllerDidDismiss:  %@", controller);
  _stateMachine->postEvent(kMovedToBackground);
}

void TVVorlaneSessionManager::_updateForSessionChange() {
  _scheduledUpdate =
      Platform::current().mainQueue().after(0s, [this] { _updatePresentedViewController(); });
}

void TVVorlaneSessionManager::_updatePresentedViewController() {
  _stopExcessSessions();
  _stateMachine->postEvent(kSessionsUpdated);
}

void TVVorlaneSessionManager::_stopExcessSessions() {
  // Iterates over a copy, because stopping a session removes it from _sessions.
  for (const SessionPtr& session : activeSessions()) {
    if (_sessions.size() <= kMaxSessions) return;
    // The last active session of each type is presented. It must not be stopped.
    if (session == _sessionOfType(session->sessionType(), {}, true)) continue;
    TVSLogNotice(TVVLSessionManager, "There are %lu sessions, stop the oldest: %@",
                 _sessions.size(), session);
    session->stopWithOptions({}, nullptr);
  }
}

void TVVorlaneSessionManager::_callPendingCompletionHandlersWithError(
    const std::optional<platform::Error>& error) {
  // Handlers that are registered by a callback stay pending.
  for (const auto& [session, handler] : std::exchange(_pendingCompletionHandlers, {}))
    handler(error);
}

bool TVVorlaneSessionManager::_hasActiveVisualSession() const {
  const auto visual = {Type::kPin, Type::kDialog, Type::kPresentation, Type::kVideo};
  return std::any_of(visual.begin(), visual.end(), [this](std::int64_t type) {
    return _sessionOfType(type, {}, true) != nullptr;
  });
}

std::string TVVorlaneSessionManager::_handleBackgroundSessionUpdate() {
  if (_hasActiveVisualSession()) {
    _stateMachine->afterTransition([this] { _requestMediaViewController(); });
    return std::string(kMovingToForeground);
  }
  _callPendingCompletionHandlersWithError(std::nullopt);
  return std::string(kBackground);
}

std::string TVVorlaneSessionManager::_handleMovedToForeground(const platform::Dictionary& info) {
  _mediaViewController = std::dynamic_pointer_cast<TVVorlaneMediaViewController>(
      info.get(kViewControllerKey).asObject());
  TVS_ASSERT_MESSAGE(_mediaViewController != nullptr, "_mediaViewController != nil");
  return _handleForegroundUpdate();
}

std::string TVVorlaneSessionManager::_handleForegroundUpdate() {
  if (!_hasActiveVisualSession()) {
    _clearSlots();
    _mediaViewController->dismiss();
    _callPendingCompletionHandlersWithError(std::nullopt);
    return std::string(kMovingToBackground);
  }
  if (_mediaViewController->isPresentationEnding()) {
    // The host is ending the presentation, and the active session was not shown in it. The session
    // and its pending completion wait for the next presentation; see docs/decisions/behaviour.md.
    _clearSlots();
    return std::string(kMovingToBackground);
  }
  _fillSlots();
  _callPendingCompletionHandlersWithError(std::nullopt);
  return std::string(kForeground);
}

void TVVorlaneSessionManager::_fillSlots() {
  _mediaViewController->setPinInfoSession(_activeSession<TVVorlaneInfoSession>(Type::kPin));
  _mediaViewController->setDialogInfoSession(_activeSession<TVVorlaneInfoSession>(Type::kDialog));
  _mediaViewController->setPresentationSession(
      _activeSession<TVVorlanePresentationSession>(Type::kPresentation));
  _mediaViewController->setVideoPlaybackSession(_activeSession<TVVorlaneURLSession>(Type::kVideo));
}

void TVVorlaneSessionManager::_clearSlots() {
  _mediaViewController->setPinInfoSession(nullptr);
  _mediaViewController->setDialogInfoSession(nullptr);
  _mediaViewController->setPresentationSession(nullptr);
  _mediaViewController->setVideoPlaybackSession(nullptr);
}

std::string TVVorlaneSessionManager::_cleanupWithError(
    const std::optional<platform::Error>& error) {
  TVSLogNotice(TVVLSessionManager, "Cleaning up:  %@", error);
  _callPendingCompletionHandlersWithError(error);
  // A PIN session is not stopped here. It ends by its own timeout.
  for (const auto type : {Type::kDialog, Type::kPresentation, Type::kVideo}) {
    if (const auto session = _sessionOfType(type, {}, true)) session->userStop();
  }
  return std::string(kBackground);
}

void TVVorlaneSessionManager::_requestMediaViewController() {
  TVSLogNotice(TVVLSessionManager, "Request presentation for media view controller");
  Platform::current().viewServiceHost().requestPresentation(
      [machine = std::weak_ptr(_stateMachine)](bool success,
                                               const std::optional<platform::Error>& error) {
        TVSLogNotice(
            TVVLSessionManager,
            "Complete presentation for media view controller with result (success: %d error: %@)",
            success, error);
        const auto stateMachine = machine.lock();
        if ((success && !error) || !stateMachine) return;
        platform::Dictionary userInfo;
        userInfo.set(kErrorKey,
                     std::static_pointer_cast<platform::Object>(std::make_shared<ErrorObject>(
                         error.value_or(platform::Error::status(kTVVorlaneStatusFailed)))));
        stateMachine->postEvent(kError, {}, std::move(userInfo));
      });
}
