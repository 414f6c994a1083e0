#pragma once

#include <memory>
#include <vector>

#include "platform/foundation/Token.h"
#include "platform/media/TVSPlayer.h"
#include "platform/ui/controllers/ViewController.h"
#include "platform/ui/player/PlayerRemote.h"
#include "platform/ui/player/PlayerTexts.h"

namespace platform {

class ActivityIndicatorView;
class MessageView;
class OptionPanelController;
class TransportBarView;
class VideoView;

/// The platform's full-screen video player: the player's picture, and a transport bar that comes
/// with any button or seek, stays while loading, paused or scanning, and goes 5 s after the last of
/// them once it plays. It is not shown while the player is stopped.
///
/// While nothing can be shown for more than 0.4 s a spinner turns, with how far the buffer has
/// filled where that is known; in the first load of an item only after 2 s. When the item has
/// failed and the player has stopped, a sentence tells the cause and what the remote can do;
/// likewise, a second later, when it has ended. A player that was invalidated before it is shown
/// counts as ended.
///
/// The remote: select and play/pause toggle; left and right skip, and scan while they are held;
/// down, or a swipe, opens the panel with sound and subtitles; up reaches the way to the live edge
/// where there is one. Menu closes the panel, then the bar that a button has called while it plays,
/// then calls dismiss(). A bar that was not called by a button does not count: there menu calls
/// dismiss() at once. If dismiss() was called while the player was stopped and the controller is
/// still shown, the next menu press that has nothing to close is not taken, so that the host of the
/// presentation can end it. Each control asks the player's playback delegate by way of the player.
///
/// Threads: main. Lifetime: holds the player; when it was made to, it invalidates the player once
/// it has left its parent.
class VideoPlayerViewController : public ViewController {
 public:
  VideoPlayerViewController(std::shared_ptr<TVSPlayer> player, bool invalidatesPlayerWhenDone);
  ~VideoPlayerViewController() override;
  std::string className() const override { return "VideoPlayerViewController"; }

  const std::shared_ptr<TVSPlayer>& player() const { return _player; }
  /// False as soon as it begins to fade out.
  bool isTransportBarVisible() const { return _barVisible; }
  bool isOptionPanelOpen() const;

  void setTexts(const PlayerTexts& texts);

  /// The user leaves the player. Here: takes the controller away from its parent.
  virtual void dismiss();

  std::shared_ptr<View> preferredFocusedView() override;
  bool handleInput(const InputEvent& event) override;
  void didMoveToParent(ViewController* parent) override;

 protected:
  std::shared_ptr<View> loadView() override;
  void viewDidLoad() override;

 private:
  void _handlePress(PressType button, bool repeated);
  void _pressSideways(int direction, bool repeated);
  void _handleSwipe(SwipeDirection direction);
  /// False: not taken.
  bool _handleMenu();
  void _moveDown();
  void _moveUp();

  void _playerStateDidChange();
  void _playerItemDidChange();
  /// The title of the current item may be set or changed while it plays.
  void _followItem();
  void _updateSpinner();
  void _updateMessage();

  void _panelDidClose();
  void _showTransportBar();
  void _hideTransportBar();
  void _hideTransportBarLater();
  void _updateTransportBar();

  struct Timers {
    Token hide;  ///< of the bar
    Token spinner;
    Token percent;
    Token ended;
  };

  std::shared_ptr<TVSPlayer> _player;
  const bool _invalidatesPlayer;
  PlayerTexts _texts;
  PlayerRemote _remote;
  std::shared_ptr<OptionPanelController> _panel;
  std::shared_ptr<VideoView> _video;
  std::shared_ptr<ActivityIndicatorView> _spinner;
  std::shared_ptr<MessageView> _message;
  std::shared_ptr<TransportBarView> _bar;
  bool _barVisible = false;
  bool _barWasCalled = false;  // by a button
  bool _goToLiveFocused = false;
  bool _hasPlayed = false;
  /// dismiss() was called when nothing played, and the controller is still there.
  bool _wasDismissedInVain = false;
  bool _tellsPercent = false;  // while it loads
  Timers _timers;
  Token _elapsedObserver;  // only while the bar is visible
  Token _itemObserver;
  std::vector<Token> _observers;
};

}  // namespace platform
