#pragma once

#include <functional>

#include "platform/foundation/queues/Queue.h"

namespace box {

/// Decides when the device and its screen must stay awake: during playback, and for a while after a
/// pause. Thread: main.
class SleepPolicy {
 public:
  struct Inhibitions {
    bool device = false;
    /// Only true while something is presented on the screen.
    bool screen = false;
    friend bool operator==(const Inhibitions&, const Inhibitions&) = default;
  };

  /// `mainQueue` must outlive this object. `onChange` is called from within the setter that causes
  /// the change.
  SleepPolicy(platform::MainQueue& mainQueue, platform::Duration pauseLimit,
              std::function<void(const Inhibitions&)> onChange)
      : _mainQueue(mainQueue), _pauseLimit(pauseLimit), _onChange(std::move(onChange)) {}

  void setSessionActive(bool active);
  void setPresenting(bool presenting);
  void setPaused(bool paused);

 private:
  void _update();

  platform::MainQueue& _mainQueue;
  const platform::Duration _pauseLimit;
  const std::function<void(const Inhibitions&)> _onChange;
  bool _isActive = false;
  bool _isPresenting = false;
  bool _isPaused = false;
  bool _isPauseExpired = false;
  platform::Token _pauseTimer;
  Inhibitions _reported;
};

}  // namespace box
