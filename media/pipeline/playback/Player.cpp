#include "media/pipeline/playback/Player.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/support/GstTime.h"

namespace media {

void Player::setState(GstState state) {
  _requested = state;
  if (state != GST_STATE_PLAYING && _state.timeRuns) {
    gst_element_set_state(element(), state);
    if (!_state.atEnd) hold(position());
    return;
  }
  const GstStateChangeReturn result = gst_element_set_state(element(), state);
  if (result == GST_STATE_CHANGE_NO_PREROLL) {
    _state.live = true;
    _state.prerolled = true;
  }
  // The bus has the error. If there is none, ProgressTimeout ends the load.
}

void Player::reset() {
  if (element()) gst_element_set_state(element(), GST_STATE_NULL);
  _requested = GST_STATE_NULL;
}

void Player::setTimeRuns(bool runs) {
  if (std::exchange(_state.timeRuns, runs) == runs) return;
  if (_timeChanged) _timeChanged();
  _load.statistics.noteTime(runs);
}

void Player::hold(double seconds) {
  setTimeRuns(false);
  _load.position.hold(seconds);
}

void Player::runPosition() {
  const double duration = _load.facts.newest().duration;
  const double last = _wanted.forwardEnd ? *_wanted.forwardEnd : duration > 0 ? duration : HUGE_VAL;
  _load.position.run(position(), _state.rate, 0, last);
}

double Player::position() const {
  gint64 position = 0;
  // A seek or a pause sets the position. It stays until the clock runs again.
  const bool isHeld = _state.ready && !_state.timeRuns;
  if (_state.atEnd || _state.scrubbing || isHeld ||
      !gst_element_query_position(element(), GST_FORMAT_TIME, &position) || position < 0)
    return _load.position.seconds();
  const double seconds = secondsOf(position);
  const double duration = _load.facts.newest().duration;
  return duration > 0 ? std::min(seconds, duration) : seconds;
}

}  // namespace media
