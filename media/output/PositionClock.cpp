#include "media/output/PositionClock.h"

#include <algorithm>

namespace media {

void PositionClock::hold(double seconds) {
  {
    const std::lock_guard lock(_mutex);
    _point.running = false;
    _point.seconds = seconds;
  }
  if (_changed) _changed();
}

void PositionClock::run(double seconds, double rate, double first, double last) {
  set({true, seconds, rate, first, std::max(first, last), _clock.now()});
}

void PositionClock::observe(double seconds) {
  const auto now = _clock.now();
  const std::lock_guard lock(_mutex);
  if (!_point.running) return;
  _point.seconds = seconds;
  _point.at = now;
}

void PositionClock::correct(double seconds) {
  observe(seconds);
  if (_changed) _changed();
}

void PositionClock::set(const Point& point) {
  {
    const std::lock_guard lock(_mutex);
    _point = point;
  }
  if (_changed) _changed();
}

PositionClock::Point PositionClock::point() const {
  const std::lock_guard lock(_mutex);
  return _point;
}

double PositionClock::seconds() const {
  const auto now = _clock.now();
  const Point known = point();
  if (!known.running) return known.seconds;
  const double elapsed = platform::secondsFromDuration(now - known.at);
  return std::clamp(known.seconds + elapsed * known.rate, known.first, known.last);
}

platform::Duration PositionClock::age() const {
  const auto now = _clock.now();
  const Point known = point();
  return known.running ? now - known.at : platform::Duration::zero();
}

}  // namespace media
