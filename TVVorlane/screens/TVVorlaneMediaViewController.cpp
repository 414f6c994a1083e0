#include "TVVorlane/screens/TVVorlaneMediaViewController.h"

#include <chrono>

#include "TVVorlane/TVVorlaneInfoSession.h"
#include "TVVorlane/TVVorlaneLocalizedStrings.h"
#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlanePresentationSession.h"
#include "TVVorlane/TVVorlaneSessionManager.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "TVVorlane/screens/TVVorlanePINViewController.h"
#include "TVVorlane/screens/TVVorlanePresentationViewController.h"
#include "TVVorlane/screens/TVVorlaneVideoPlayerViewController.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/services/Platform.h"

using namespace std::chrono_literals;
using platform::Platform;

namespace {

constexpr auto kFadeDuration = 300ms;
/// Time for the fades to finish.
constexpr auto kEndOfPresentationDelay = 300ms;

template <typename Session>
bool isSameSession(const std::shared_ptr<Session>& session,
                   const std::shared_ptr<Session>& current) {
  return session && session == current;
}

}  // namespace

TVVorlaneMediaViewController::TVVorlaneMediaViewController() = default;
TVVorlaneMediaViewController::~TVVorlaneMediaViewController() = default;

std::shared_ptr<TVVorlaneMediaViewController> TVVorlaneMediaViewController::_self() {
  return std::static_pointer_cast<TVVorlaneMediaViewController>(shared_from_this());
}

void TVVorlaneMediaViewController::setPinInfoSession(
    const std::shared_ptr<TVVorlaneInfoSession>& session) {
  if (isSameSession(session, _pinInfoSession)) return;
  const auto old = _pinViewController;
  std::shared_ptr<TVVorlanePINViewController> child;
  if (session) {
    child = std::make_shared<TVVorlanePINViewController>();
    child->setTitle(session->titleString().value_or(""));
    child->setPinCode(session->messageString().value_or(""));
    child->setDismissHandler([session] { session->userStop(); });
  }
  _pinViewController = child;
  _pinInfoSession = session;
  _transitionFromViewController(old, child);
}

void TVVorlaneMediaViewController::setPresentationSession(
    const std::shared_ptr<TVVorlanePresentationSession>& session) {
  if (isSameSession(session, _presentationSession)) return;
  const auto old = _presentationViewController;
  _presentationViewController =
      session ? std::make_shared<TVVorlanePresentationViewController>(session) : nullptr;
  _presentationSession = session;
  _transitionFromViewController(old, _presentationViewController);
}

void TVVorlaneMediaViewController::setVideoPlaybackSession(
    const std::shared_ptr<TVVorlaneURLSession>& session) {
  if (isSameSession(session, _videoPlaybackSession)) return;
  const auto old = _videoPlayerViewController;
  std::shared_ptr<TVVorlaneVideoPlayerViewController> child;
  if (session) {
    child = std::make_shared<TVVorlaneVideoPlayerViewController>(session->player(), true);
    child->setVideoSession(session);
  }
  _videoPlayerViewController = child;
  _videoPlaybackSession = session;
  _transitionFromViewController(old, child);
}

void TVVorlaneMediaViewController::setDialogInfoSession(
    const std::shared_ptr<TVVorlaneInfoSession>& session) {
  if (isSameSession(session, _dialogInfoSession)) return;
  if (!session) {
    if (_dialogViewController) dismissPresented(true);
    _dialogViewController = nullptr;
  } else if (_dialogViewController && presented() == _dialogViewController) {
    // An alert is updated only while it is shown: pressing its button closes it. The button still
    // stops the session that created the alert.
    _dialogViewController->setTitle(session->titleString().value_or(""));
    _dialogViewController->setMessage(session->messageString().value_or(""));
  } else {
    _dialogViewController = std::make_shared<platform::AlertController>(
        session->titleString().value_or(""), session->messageString().value_or(""));
    _dialogViewController->addAction({TVVorlaneLocalizedString("TVVorlaneOK"),
                                      platform::AlertActionStyle::Cancel,
                                      [session] { session->userStop(); }});
    present(_dialogViewController, true);
  }
  _dialogInfoSession = session;
}

void TVVorlaneMediaViewController::_transitionFromViewController(
    const ControllerPtr& from, const ControllerPtr& toViewController) {
  const ControllerPtr& to = toViewController;
  if (from == to) return;
  const auto updateFocus = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->setNeedsFocusUpdate();
  };
  if (to) {
    addChild(to);
    to->view()->setFrame(view()->bounds());
    to->view()->setAlpha(0);
    _placeView(to);
    to->view()->animateAlpha(1, kFadeDuration, updateFocus);
    to->didMoveToParent(this);
  }
  if (from) {
    from->willMoveToParent(nullptr);
    from->view()->animateAlpha(0, kFadeDuration, [from, updateFocus] {
      from->view()->removeFromSuperview();
      from->removeFromParent();
      updateFocus();
    });
  }
}

void TVVorlaneMediaViewController::_placeView(const ControllerPtr& child) {
  if (child == _presentationViewController) {
    view()->insertSubview(child->view(), 0);
  } else if (child == _videoPlayerViewController && _pinViewController) {
    view()->insertSubviewBelow(child->view(), *_pinViewController->view());
  } else if (child == _videoPlayerViewController || child == _pinViewController) {
    view()->addSubview(child->view());
  } else {
    TVSLogNotice(TVVLSession, "Unexpected view controller in hierarchy");
  }
}

std::shared_ptr<platform::View> TVVorlaneMediaViewController::preferredFocusedView() {
  const ControllerPtr order[] = {_pinViewController, _videoPlayerViewController,
                                 _presentationViewController};
  for (const auto& child : order) {
    if (!child) continue;
    const auto preferred = child->preferredFocusedView();
    return preferred ? preferred : child->view();
  }
  const auto preferred =
      _dialogViewController ? _dialogViewController->preferredFocusedView() : nullptr;
  return preferred ? preferred : view();
}

void TVVorlaneMediaViewController::viewServiceBeginPresentationWithOptions(
    const platform::Dictionary&) {
  Platform::current().remoteInputLimiting().setViewServiceActive(true);
  TVSLogNotice(TVVLSession, "Media View Controller ready for display %@", _self());
  const auto manager = TVVorlaneSessionManager::sharedInstance();
  setDelegate(manager);
  manager->mediaViewControllerDidBecomeReady(_self());
}

void TVVorlaneMediaViewController::dismiss() {
  TVSLogNotice(TVVLSession, "No more active sessions, dismiss.");
  if (_dismissing) return;
  _dismissing = true;
  if (const auto host = hostProxy()) host->dismissWithResult({});
}

void TVVorlaneMediaViewController::viewServiceEndPresentationWithOptions(
    const platform::Dictionary& options, std::function<void()> completion) {
  TVSLogNotice(TVVLSession, "End presentation for session with options: %@", options);
  _presentationEnding = true;
  if (!_dismissing) {
    TVSLogNotice(TVVLSession, "Forced to exit Vorlane");
    _stopShownSessions();
  }
  Platform::current()
      .mainQueue()
      .after(kEndOfPresentationDelay,
             [self = _self(), completion = std::move(completion)] {
               Platform::current().remoteInputLimiting().setViewServiceActive(false);
               completion();
               if (const auto delegate = self->_delegate.lock())
                 delegate->mediaViewControllerDidDismiss(self);
               self->_delegate.reset();
             })
      .detach();
}

void TVVorlaneMediaViewController::_stopShownSessions() {
  const std::shared_ptr<TVVorlaneSession> shown[] = {_pinInfoSession, _dialogInfoSession,
                                                     _presentationSession, _videoPlaybackSession};
  for (const auto& session : shown) {
    if (session) session->userStop();
  }
}
