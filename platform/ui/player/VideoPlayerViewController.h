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
class AudioItemView;
class MessageView;
class OptionPanelController;
class TransportBarView;
class VideoView;

/// A full-screen video player with a transport bar. Buttons and seeks show the bar. It stays while
/// the player is loading, paused or scanning, and hides after 5 s of playback. It is hidden while
/// the player is stopped.
///
/// An item without video is shown by its cover and its texts.
///
/// A spinner appears after 0.4 s of loading. It shows the buffering percentage if that is known;
/// during the first load of an item only after 2 s. If the item has failed and the player has
/// stopped, a message shows the cause. One second after the end another message appears, also for a
/// player that was invalidated before.
///
/// Buttons: Select and Play/Pause toggle playback. Left and Right skip, or scan while they are held
/// (see PlayerRemote). Down opens the option panel. Up focuses the button to the live edge, if
/// there is one. Menu closes the option panel; otherwise hides the transport bar if a button has
/// shown it during playback; otherwise calls dismiss(). If the controller is still shown after a
/// dismiss() of a stopped player, the next Menu press is not consumed, so that the host can end the
/// presentation.
///
/// Threads: main. Lifetime: owns a reference to the player. If `invalidatesPlayerWhenDone` is set,
/// it invalidates the player after it has been removed from its parent.
class VideoPlayerViewController : public ViewController {
 public:
  VideoPlayerViewController(std::shared_ptr<TVSPlayer> player, bool invalidatesPlayerWhenDone);
  ~VideoPlayerViewController() override;
  std::string className() const override { return "VideoPlayerViewController"; }

  const std::shared_ptr<TVSPlayer>& player() const { return _player; }
  /// False when the bar begins to fade out.
  bool isTransportBarVisible() const { return _barVisible; }
  bool isOptionPanelOpen() const;

  void setTexts(const PlayerTexts& texts);

  /// Called when the user leaves the player. Removes the controller from its parent.
  virtual void dismiss();

  std::shared_ptr<View> preferredFocusedView() override;
  bool handleInput(const InputEvent& event) override;
  void didMoveToParent(ViewController* parent) override;

 protected:
  std::shared_ptr<View> loadView() override;
  void viewDidLoad() override;

 private:
  void _handlePress(PressType button, bool repeated);
  void _handleLeftRight(int direction, bool repeated);
  void _handleSwipe(SwipeDirection direction);
  bool _handleMenu();
  void _handleDown();
  void _handleUp();

  void _playerStateDidChange();
  void _playerItemDidChange();
  /// Observes the metadata of the current item, because its title may change during playback.
  void _observeCurrentItem();
  void _updatePicture();
  void _updateSpinner();
  void _updateMessage();

  void _panelDidClose();
  void _showTransportBar();
  void _hideTransportBar();
  void _hideTransportBarLater();
  void _updateTransportBar();

  struct Timers {
    Token hide;
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
  std::shared_ptr<AudioItemView> _audioItem;
  std::shared_ptr<ActivityIndicatorView> _spinner;
  std::shared_ptr<MessageView> _message;
  std::shared_ptr<TransportBarView> _bar;
  bool _barVisible = false;
  bool _barShownByButton = false;
  bool _goToLiveFocused = false;
  bool _hasPlayed = false;
  /// dismiss() was called while the player was stopped, and did not remove the controller.
  bool _dismissHadNoEffect = false;
  bool _showsPercent = false;
  Timers _timers;
  Token _elapsedObserver;  // while the bar is visible
  Token _itemObserver;
  std::vector<Token> _observers;
};

}  // namespace platform
