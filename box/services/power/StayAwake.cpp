#include "box/services/power/StayAwake.h"

#include <utility>

namespace box {

void StayAwake::setSessionActive(bool active) {
  _isActive = active;
  _update();
}

void StayAwake::setPresenting(bool presenting) {
  _isPresenting = presenting;
  _update();
}

void StayAwake::setPaused(bool paused) {
  if (std::exchange(_isPaused, paused) == paused) return;
  _isPausedForLong = false;
  _pauseTimer.reset();
  if (paused) {
    _pauseTimer = _mainQueue.after(_pauseLimit, [this] {
      _isPausedForLong = true;
      _update();
    });
  }
  _update();
}

void StayAwake::_update() {
  const bool plays = _isActive && !_isPausedForLong;
  const Wish wish{.device = plays, .screen = plays && _isPresenting};
  if (std::exchange(_told, wish) != wish) _tell(wish);
}

}  // namespace box
