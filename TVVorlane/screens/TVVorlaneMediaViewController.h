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

/// Root view controller: one slot per kind of session, one child per slot, cross-fades between
/// children. The dialog is a modal alert above them.
///
/// Usage: the host creates the controller and begins the presentation. The controller then notifies
/// the session manager, which fills the slots. dismiss() requests the end of the presentation. If
/// the presentation ends without that request, every shown session is stopped. A controller is used
/// for one presentation.
///
/// Stacking order, bottom to top: mirrored screen, video player, PIN, alert. Main thread.
class TVVorlaneMediaViewController final : public platform::ViewServiceViewController {
 public:
  TVVorlaneMediaViewController();
  ~TVVorlaneMediaViewController() override;
  std::string className() const override { return "TVVorlaneMediaViewController"; }

  // Slots. Setting a slot creates, replaces or removes its child. Setting the same session again
  // does nothing.
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

  // Children of the slots. Each is null while its slot is empty.
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
  /// True after the host has begun to end the presentation. New content is no longer shown.
  bool isPresentationEnding() const { return _presentationEnding; }
  /// Requests the end of the presentation. Later calls do nothing.
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
  bool _presentationEnding = false;
  std::shared_ptr<TVVorlanePINViewController> _pinViewController;
  std::shared_ptr<platform::AlertController> _dialogViewController;
  std::shared_ptr<TVVorlaneVideoPlayerViewController> _videoPlayerViewController;
  std::shared_ptr<TVVorlanePresentationViewController> _presentationViewController;
};
