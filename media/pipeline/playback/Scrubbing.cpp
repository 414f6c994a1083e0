#include "media/pipeline/playback/Scrubbing.h"

#include <cmath>

namespace media {
namespace {

/// From the start of a seek to the start of the next one.
constexpr auto kStep = std::chrono::milliseconds(200);

}  // namespace

bool Scrubbing::begin(double destination) {
  const platform::MediaFacts& facts = _load.facts.newest();
  if (facts.duration <= 0 || facts.seekable.empty()) return false;
  if (_player.requested() != GST_STATE_PAUSED) _player.setState(GST_STATE_PAUSED);
  _state.scrubbing = true;
  if (seekTo(destination)) return true;
  _state.scrubbing = false;
  return false;
}

void Scrubbing::end() {
  _state.scrubbing = false;
  _stepAt.reset();
}

bool Scrubbing::seekTo(double seconds) {
  constexpr auto kFlags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT |
                                                    GST_SEEK_FLAG_SNAP_BEFORE);
  const auto start = static_cast<gint64>(std::llround(seconds * static_cast<double>(GST_SECOND)));
  _stepAt.reset();
  _soughtAt = _load.clock.now();
  _state.seeking = gst_element_seek(_player.element(), 1, GST_FORMAT_TIME, kFlags,
                                    GST_SEEK_TYPE_SET, start, GST_SEEK_TYPE_SET, -1) == TRUE;
  if (_state.seeking) _progressTimeout.noteProgress();
  return _state.seeking;
}

void Scrubbing::run() {
  if (!_state.timeRuns) {
    _player.setTimeRuns(true);
    _load.position.run(_load.position.seconds(), _state.rate, limit(),
                       _load.facts.newest().duration);
  }
  if (!_stepAt) _stepAt = _soughtAt + kStep;
}

void Scrubbing::postponeStep() { _stepAt = _load.clock.now() + kStep; }

void Scrubbing::pause() {
  _stepAt.reset();
  if (_state.timeRuns) _player.hold(_load.position.seconds());
}

}  // namespace media
