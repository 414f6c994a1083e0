#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/foundation/Error.h"
#include "platform/foundation/Token.h"
#include "platform/media/TVSPlayer.h"
#include "platform/ui/ViewController.h"

namespace platform {

class ActivityIndicatorView;
class Label;
class TransportBarView;
class VideoView;

/// The platform's full-screen video player: the player's picture, and a transport bar that comes
/// with any button or seek, stays while loading, paused or scanning, and goes 5 s after the last of
/// them once it plays.
///
/// While nothing can be shown for more than 0.4 s a spinner turns; when the item has failed and the
/// player has stopped, a text says so.
///
/// The remote: play/pause and select toggle; left and right skip 10 s; menu calls dismiss(). Each
/// asks the player's playback delegate by way of the player.
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
  bool isTransportBarVisible() const;

  /// What is shown of the error of an item that failed; by default the error's own description, or
  /// else a plain English sentence. Null restores that.
  void setFailureText(std::function<std::string(const Error&)> text);

  /// The user leaves the player. Here: takes the controller away from its parent.
  virtual void dismiss();

  std::shared_ptr<View> preferredFocusedView() override;
  bool handleInput(const InputEvent& event) override;
  void didMoveToParent(ViewController* parent) override;

 protected:
  std::shared_ptr<View> loadView() override;
  void viewDidLoad() override;

 private:
  void _togglePlayback();
  void _skip(double seconds);
  void _playerStateDidChange();
  void _playerItemDidChange();
  void _updateSpinner();
  void _updateFailure();
  void _showTransportBar();
  void _hideTransportBarLater();
  void _updateTransportBar();

  std::shared_ptr<TVSPlayer> _player;
  const bool _invalidatesPlayer;
  std::function<std::string(const Error&)> _failureText;
  std::shared_ptr<VideoView> _video;
  std::shared_ptr<ActivityIndicatorView> _spinner;
  std::shared_ptr<Label> _failure;
  std::shared_ptr<TransportBarView> _bar;
  bool _barVisible = false;
  bool _pausesOnceLoaded = false;
  Token _hideTimer;
  Token _spinnerTimer;
  Token _elapsedObserver;  // only while the bar is visible
  std::vector<Token> _observers;
};

}  // namespace platform
