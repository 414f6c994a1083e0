#include "media/pipeline/PositionClock.h"

#include <algorithm>

namespace media {

void PositionClock::hold(double seconds) {
  const std::lock_guard lock(_mutex);
  _running = false;
  _seconds = seconds;
}

void PositionClock::run(double seconds, double rate, double first, double last) {
  const auto now = _clock.now();
  const std::lock_guard lock(_mutex);
  _running = true;
  _seconds = seconds;
  _rate = rate;
  _first = first;
  _last = std::max(first, last);
  _at = now;
}

void PositionClock::observe(double seconds) {
  const auto now = _clock.now();
  const std::lock_guard lock(_mutex);
  if (!_running) return;
  _seconds = seconds;
  _at = now;
}

double PositionClock::seconds() const {
  const auto now = _clock.now();
  const std::lock_guard lock(_mutex);
  if (!_running) return _seconds;
  const double elapsed = platform::secondsFromDuration(now - _at);
  return std::clamp(_seconds + elapsed * _rate, _first, _last);
}

platform::Duration PositionClock::age() const {
  const auto now = _clock.now();
  const std::lock_guard lock(_mutex);
  return _running ? now - _at : platform::Duration::zero();
}

}  // namespace media
