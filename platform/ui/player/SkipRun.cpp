#include "platform/ui/player/SkipRun.h"

namespace platform {

double SkipRun::press(int direction, TimePoint now) {
  if (!continues(direction, now)) _presses = 0;
  _last = now;
  _direction = direction;
  ++_presses;
  const double seconds = _presses <= 2 ? 10 : _presses <= 4 ? 30 : 60;
  return direction * seconds;
}

}  // namespace platform
