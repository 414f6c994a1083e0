#include "box/services/power/SleepPolicy.h"

#include <utility>

namespace box {

void SleepPolicy::setSessionActive(bool active) {
  _isActive = active;
  _update();
}

void SleepPolicy::setPresenting(bool presenting) {
  _isPresenting = presenting;
  _update();
}

void SleepPolicy::setPaused(bool paused) {
  if (std::exchange(_isPaused, paused) == paused) return;
  _isPauseExpired = false;
  _pauseTimer.reset();
  if (paused) {
    _pauseTimer = _mainQueue.after(_pauseLimit, [this] {
      _isPauseExpired = true;
      _update();
    });
  }
  _update();
}

void SleepPolicy::_update() {
  const bool keepsAwake = _isActive && !_isPauseExpired;
  const Inhibitions inhibitions{.device = keepsAwake, .screen = keepsAwake && _isPresenting};
  if (std::exchange(_reported, inhibitions) != inhibitions) _onChange(inhibitions);
}

}  // namespace box
