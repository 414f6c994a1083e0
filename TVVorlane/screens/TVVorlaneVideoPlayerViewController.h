#pragma once

#include <memory>
#include <string>

#include "platform/ui/player/VideoPlayerViewController.h"

class TVVorlaneURLSession;

/// The video player of a URL session. Leaving the player stops the session. The player is removed
/// from the screen when the session ends. className() returns _TVVorlaneVideoPlayerViewController.
/// Main thread.
class TVVorlaneVideoPlayerViewController final : public platform::VideoPlayerViewController {
 public:
  /// Uses texts in the user's language.
  TVVorlaneVideoPlayerViewController(std::shared_ptr<TVSPlayer> player,
                                     bool invalidatesPlayerWhenDone);
  std::string className() const override { return "_TVVorlaneVideoPlayerViewController"; }

  const std::shared_ptr<TVVorlaneURLSession>& videoSession() const { return _videoSession; }
  void setVideoSession(std::shared_ptr<TVVorlaneURLSession> session) {
    _videoSession = std::move(session);
  }
  bool wasDismissed() const { return _wasDismissed; }

  /// Handles the menu button. Stops the session once, unless the player has already stopped. The
  /// controller stays on screen until its session is removed.
  void dismiss() override;

 private:
  std::shared_ptr<TVVorlaneURLSession> _videoSession;
  bool _wasDismissed = false;
};
