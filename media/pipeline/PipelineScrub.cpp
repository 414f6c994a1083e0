// Running backwards through media that the library plays forwards only, as it does those that come
// over HTTP: the pipeline stays paused, time is counted here, and a few times a second the key
// picture of the time that it is shows itself. On the pipeline's thread.

#include <algorithm>
#include <cmath>

#include "media/pipeline/Pipeline.h"

namespace media {
namespace {

constexpr auto kStep = std::chrono::milliseconds(250);

}  // namespace

bool Pipeline::_beginScrub(double destination) {
  if (_facts.duration <= 0 || _facts.seekable.empty()) return false;
  if (_requested != GST_STATE_PAUSED) _setState(GST_STATE_PAUSED);
  _scrubbing = true;
  if (_scrubTo(destination)) return true;
  _scrubbing = false;
  return false;
}

bool Pipeline::_scrubTo(double seconds) {
  constexpr auto kFlags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT |
                                                    GST_SEEK_FLAG_SNAP_BEFORE);
  const auto start = static_cast<gint64>(std::llround(seconds * static_cast<double>(GST_SECOND)));
  _scrubAt.reset();
  _seeking = gst_element_seek(_player.get(), 1, GST_FORMAT_TIME, kFlags, GST_SEEK_TYPE_SET, start,
                              GST_SEEK_TYPE_SET, -1) == TRUE;
  if (_seeking) _progress();
  return _seeking;
}

void Pipeline::_runScrub() {
  if (!_timeRuns) {
    _setTimeRuns(true);
    _position.run(_position.seconds(), _appliedRate, _reverseEnd.value_or(0), _facts.duration);
  }
  if (!_scrubAt) _scrubAt = _clock.now() + kStep;
}

void Pipeline::_stepScrub() {
  const double end = _reverseEnd.value_or(0);
  const double seconds = _position.seconds();
  _endsAfterSeek = seconds <= end;
  if (_endsAfterSeek) _hold(end);
  if (_scrubTo(std::max(seconds, end))) return;
  // Without pictures it still ends where it should.
  if (_endsAfterSeek)
    _finishSeek();
  else
    _scrubAt = _clock.now() + kStep;
}

void Pipeline::_pauseScrub() {
  _scrubAt.reset();
  if (_timeRuns) _hold(_position.seconds());
}

}  // namespace media
