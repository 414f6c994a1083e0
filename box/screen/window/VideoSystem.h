#pragma once

#include <string>

namespace box {

/// SDL's video and event subsystems, brought up on the screen's thread and taken down there.
///
/// Where nobody has chosen a driver and no display can be opened, SDL's driver without a display
/// takes their place: pictures can still be captured. A display that turns up later is used from
/// the next start() on.
class VideoSystem {
 public:
  VideoSystem() = default;
  ~VideoSystem();
  VideoSystem(const VideoSystem&) = delete;
  VideoSystem& operator=(const VideoSystem&) = delete;

  /// False when there is no display to draw on; `reason` then says why. Nothing to do when it runs
  /// on a real display.
  bool start(std::string& reason);
  bool isRunning() const { return _running; }
  /// Whether there is no display behind it: no input comes, and waiting for it would poll.
  bool isHeadless() const { return _headless; }

 private:
  bool _startDriver(bool withoutDisplay);

  bool _running = false;
  bool _headless = false;
  bool _fellBack = false;
  bool _toldFallback = false;
};

}  // namespace box
