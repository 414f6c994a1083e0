#pragma once

#include <memory>
#include <string>

#include "TVVorlane/screens/TVVorlaneMediaViewControllerDelegate.h"
#include "platform/ui/controllers/AlertController.h"
#include "platform/ui/controllers/ViewServiceHost.h"

class TVVorlaneInfoSession;
class TVVorlanePINViewController;
class TVVorlanePresentationSession;
class TVVorlanePresentationViewController;
class TVVorlaneURLSession;
class TVVorlaneVideoPlayerViewController;

/// The root view controller of everything on screen: a slot for each kind of session, a child for
/// each slot, cross-fades between children, and the dialog as a modal alert above them.
///
/// Workflow: the host makes it and begins the presentation; it tells the session manager that it is
/// ready, which fills the slots; dismiss() asks the host to end. An end that was not asked for
/// stops every session shown. It is used for one presentation.
///
/// Stacking, bottom to top: presentation surface, video player, PIN; the alert above all.
///
/// Threads: main.
class TVVorlaneMediaViewController final : public platform::ViewServiceViewController {
 public:
  TVVorlaneMediaViewController();
  ~TVVorlaneMediaViewController() override;
  std::string className() const override { return "TVVorlaneMediaViewController"; }

  // The slots. Setting one makes, replaces or removes its child; the same session again does
  // nothing.
  const std::shared_ptr<TVVorlaneInfoSession>& pinInfoSession() const { return _pinInfoSession; }
  void setPinInfoSession(const std::shared_ptr<TVVorlaneInfoSession>& session);
  const std::shared_ptr<TVVorlaneInfoSession>& dialogInfoSession() const {
    return _dialogInfoSession;
  }
  void setDialogInfoSession(const std::shared_ptr<TVVorlaneInfoSession>& session);
  const std::shared_ptr<TVVorlanePresentationSession>& presentationSession() const {
    return _presentationSession;
  }
  void setPresentationSession(const std::shared_ptr<TVVorlanePresentationSession>& session);
  const std::shared_ptr<TVVorlaneURLSession>& videoPlaybackSession() const {
    return _videoPlaybackSession;
  }
  void setVideoPlaybackSession(const std::shared_ptr<TVVorlaneURLSession>& session);

  // What the slots show; each is set exactly while its session is.
  const std::shared_ptr<TVVorlanePINViewController>& pinViewController() const {
    return _pinViewController;
  }
  const std::shared_ptr<platform::AlertController>& dialogViewController() const {
    return _dialogViewController;
  }
  const std::shared_ptr<TVVorlaneVideoPlayerViewController>& videoPlayerViewController() const {
    return _videoPlayerViewController;
  }
  const std::shared_ptr<TVVorlanePresentationViewController>& presentationViewController() const {
    return _presentationViewController;
  }

  void setDelegate(std::weak_ptr<TVVorlaneMediaViewControllerDelegate> delegate) {
    _delegate = std::move(delegate);
  }
  bool dismissing() const { return _dismissing; }
  /// The host has begun to end the presentation; nothing new will be seen.
  bool presentationEnds() const { return _presentationEnds; }
  /// Asks the host to end the presentation, once.
  void dismiss();

  std::shared_ptr<platform::View> preferredFocusedView() override;

  void viewServiceBeginPresentationWithOptions(const platform::Dictionary& options) override;
  void viewServiceEndPresentationWithOptions(const platform::Dictionary& options,
                                             std::function<void()> completion) override;

 private:
  using ControllerPtr = std::shared_ptr<platform::ViewController>;

  std::shared_ptr<TVVorlaneMediaViewController> _self();
  void _transitionFromViewController(const ControllerPtr& from,
                                     const ControllerPtr& toViewController);
  void _placeView(const ControllerPtr& child);
  void _stopShownSessions();

  std::shared_ptr<TVVorlaneInfoSession> _pinInfoSession;
  std::shared_ptr<TVVorlaneInfoSession> _dialogInfoSession;
  std::shared_ptr<TVVorlanePresentationSession> _presentationSession;
  std::shared_ptr<TVVorlaneURLSession> _videoPlaybackSession;
  std::weak_ptr<TVVorlaneMediaViewControllerDelegate> _delegate;
  bool _dismissing = false;
  bool _presentationEnds = false;
  std::shared_ptr<TVVorlanePINViewController> _pinViewController;
  std::shared_ptr<platform::AlertController> _dialogViewController;
  std::shared_ptr<TVVorlaneVideoPlayerViewController> _videoPlayerViewController;
  std::shared_ptr<TVVorlanePresentationViewController> _presentationViewController;
};
