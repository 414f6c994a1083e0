#pragma once

#include <memory>
#include <string>

#include "platform/ui/player/VideoPlayerViewController.h"

class TVVorlaneURLSession;

/// The video player of a URL session. The sender owns the playback: leaving the player stops the
/// session, and the session's end takes the screen away. Its class is known as
/// _TVVorlaneVideoPlayerViewController. Main thread.
class TVVorlaneVideoPlayerViewController final : public platform::VideoPlayerViewController {
 public:
  /// With the texts in the user's language.
  TVVorlaneVideoPlayerViewController(std::shared_ptr<TVSPlayer> player,
                                     bool invalidatesPlayerWhenDone);
  std::string className() const override { return "_TVVorlaneVideoPlayerViewController"; }

  const std::shared_ptr<TVVorlaneURLSession>& videoSession() const { return _videoSession; }
  void setVideoSession(std::shared_ptr<TVVorlaneURLSession> session) {
    _videoSession = std::move(session);
  }
  bool wasDismissed() const { return _wasDismissed; }

  /// The menu button. Stops the session, once, unless its player has stopped already; the
  /// controller stays until its session is taken away.
  void dismiss() override;

 private:
  std::shared_ptr<TVVorlaneURLSession> _videoSession;
  bool _wasDismissed = false;
};
