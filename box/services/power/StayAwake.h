#pragma once

#include <functional>

#include "platform/foundation/queues/Queue.h"

namespace box {

/// Decides when the device and its screen are not to go to sleep by themselves: while something
/// plays, and for a while after somebody has paused it.
///
/// Threads: main.
class StayAwake {
 public:
  struct Wish {
    bool device = false;
    /// Only for what is on it.
    bool screen = false;
    friend bool operator==(const Wish&, const Wish&) = default;
  };

  /// `mainQueue` outlives it. `tell` is called with every change, inside the call that makes it.
  StayAwake(platform::MainQueue& mainQueue, platform::Duration pauseLimit,
            std::function<void(const Wish&)> tell)
      : _mainQueue(mainQueue), _pauseLimit(pauseLimit), _tell(std::move(tell)) {}

  void setSessionActive(bool active);
  void setPresenting(bool presenting);
  void setPaused(bool paused);

 private:
  void _update();

  platform::MainQueue& _mainQueue;
  const platform::Duration _pauseLimit;
  const std::function<void(const Wish&)> _tell;
  bool _isActive = false;
  bool _isPresenting = false;
  bool _isPaused = false;
  bool _isPausedForLong = false;
  platform::Token _pauseTimer;
  Wish _told;
};

}  // namespace box
