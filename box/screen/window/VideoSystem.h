#pragma once

#include <string>

namespace box {

/// Initializes SDL's video and event subsystems on the screen's thread.
///
/// If no driver is configured and no display can be opened, SDL's dummy driver is used, so that
/// screenshots work. A later start() uses a display that has appeared since.
class VideoSystem {
 public:
  VideoSystem() = default;
  ~VideoSystem();
  VideoSystem(const VideoSystem&) = delete;
  VideoSystem& operator=(const VideoSystem&) = delete;

  /// Returns false and sets `reason` if no driver can be started. Does nothing if a real display is
  /// in use.
  bool start(std::string& reason);
  bool isRunning() const { return _running; }
  /// Whether there is no display. Then there is no input, and waiting for events would poll.
  bool isHeadless() const { return _headless; }

 private:
  bool _startDriver(bool headless);

  bool _running = false;
  bool _headless = false;
  bool _usesFallback = false;
  bool _loggedFallback = false;
};

}  // namespace box
