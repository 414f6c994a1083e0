// How a pipeline is brought from what it does to what it should do. On the pipeline's thread.

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/encryption/ClearKeyDecryptor.h"
#include "media/engine/TimelineFacts.h"
#include "media/pipeline/Pipeline.h"
#include "media/support/GstTime.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

using Kind = PipelineEvent::Kind;

/// Demuxers end at once when sent to the very end, and show nothing.
constexpr double kBeforeEnd = 0.02;
constexpr double kTrickRate = 2;

gint64 nanoseconds(double seconds) {
  return static_cast<gint64>(std::llround(std::max(0.0, seconds) * GST_SECOND));
}

bool isTrick(double rate) { return rate < 0 || rate > kTrickRate; }

GstSeekFlags seekFlags(double rate) {
  int flags = GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE;
  // Beyond what can be decoded in time, key units are shown.
  if (std::abs(rate) > kTrickRate)
    flags = GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_TRICKMODE | GST_SEEK_FLAG_TRICKMODE_KEY_UNITS |
            GST_SEEK_FLAG_TRICKMODE_NO_AUDIO;
  return static_cast<GstSeekFlags>(flags);
}

}  // namespace

std::optional<double> Pipeline::_wantedStop() const {
  return _wantedRate > 0 ? _forwardEnd : _reverseEnd;
}

bool Pipeline::_wantsSeek() const {
  return _wantedPosition || _wantedFraction || _wantedDate || _reseek ||
         _wantedRate != _appliedRate || _wantedStop() != _appliedStop;
}

void Pipeline::_resolveDate() {
  if (!_wantedDate) return;
  const platform::Date date = *std::exchange(_wantedDate, std::nullopt);
  if (const auto position = positionOfDate(_setup.item.get(), date)) {
    _wantedPosition = *position;
    _wantedFraction.reset();
    return;
  }
  if (!_wantedPosition) _unansweredSeek.reset();
  // The picture that waits has been kept back for the sake of it.
  if (!_ready) _reseek = true;
}

double Pipeline::_seekDestination() const {
  double seconds = 0;
  if (_wantedPosition)
    seconds = *_wantedPosition;
  else if (_wantedFraction && _facts.duration > 0)
    seconds = *_wantedFraction * _facts.duration;
  else if (!_wantedFraction || _facts.live)
    seconds = _queryPosition();  // a live stream has no fractions, and plays at its edge
  if (!std::isfinite(seconds)) seconds = seconds > 0 ? _facts.duration : 0;
  seconds = std::max(0.0, seconds);
  if (_facts.duration > 0) seconds = std::min(seconds, _facts.duration);
  if (!_facts.seekable.empty()) {
    const platform::TimeRange& range = _facts.seekable.front();
    seconds = std::clamp(seconds, range.start, range.start + std::max(0.0, range.duration));
  }
  return seconds;
}

void Pipeline::_reconcile() {
  if (_failed || _seeking || _selecting || !_player) return;
  if (_prerolled) {
    if (_choosePreferred()) return;
    _resolveDate();
    if (_wantsSeek()) {
      _issueSeek();
      if (_seeking) return;
    }
    if (!_ready && !_held) _becomeReady();
    if (!_afterSelection.empty()) {
      const auto next = std::move(_afterSelection.front());
      _afterSelection.erase(_afterSelection.begin());
      next(*this);
      // Whatever else is due waits for the answer, or comes round again at once.
      if (!_selecting) _reconcile();
      return;
    }
  }
  // Before the first frame nothing is gained by a pause in between, unless a start point is to
  // come.
  const bool mayRun = _prerolled ? !_atEnd && !_buffering && !_scrubbing : !_wantsSeek();
  const GstState state = _wantPlaying && !_held && mayRun ? GST_STATE_PLAYING : GST_STATE_PAUSED;
  if (state != _requested) _setState(state);
  if (_ready && !_failed) _announce();
}

void Pipeline::_setState(GstState state) {
  _requested = state;
  if (state != GST_STATE_PLAYING && _timeRuns) {
    gst_element_set_state(_player.get(), state);
    if (!_atEnd) _hold(_queryPosition());
    return;
  }
  const GstStateChangeReturn result = gst_element_set_state(_player.get(), state);
  if (result == GST_STATE_CHANGE_NO_PREROLL) {
    _live = true;
    _prerolled = true;
  }
  // The reason for a failure is on the bus; where none is, the guard against silence ends the load.
}

void Pipeline::_setTimeRuns(bool runs) {
  if (std::exchange(_timeRuns, runs) == runs) return;
  _watchDryness();
  const auto now = _clock.now();
  const std::lock_guard lock(_mutex);
  if (runs)
    _runsSince = now;
  else
    _statistics.watchedSeconds +=
        platform::secondsFromDuration(now - *std::exchange(_runsSince, std::nullopt));
}

void Pipeline::_hold(double seconds) {
  _setTimeRuns(false);
  _position.hold(seconds);
}

void Pipeline::_announce() {
  if (!_wantPlaying) {
    if (_scrubbing) _pauseScrub();
    if (!std::exchange(_pauseAnnounced, true)) {
      _playAnnounced = false;
      _report(Kind::Pause);
    }
    return;
  }
  if (_atEnd) {
    if (!std::exchange(_endAnnounced, true)) _report(Kind::End);
    return;
  }
  if (_scrubbing) {
    _runScrub();
    _announcePlay();
    return;
  }
  if (_requested != GST_STATE_PLAYING) return;
  GstState current = GST_STATE_NULL;
  GstState pending = GST_STATE_VOID_PENDING;
  gst_element_get_state(_player.get(), &current, &pending, 0);
  const bool isDue = !_catalog.plays(GST_STREAM_TYPE_VIDEO) || _videoSink->hasBecomeDue();
  if (current != GST_STATE_PLAYING || pending != GST_STATE_VOID_PENDING || !isDue) return;
  if (!_timeRuns) {
    _setTimeRuns(true);
    _runPosition();
  }
  _announcePlay();
}

void Pipeline::_runPosition() {
  const double last = _forwardEnd ? *_forwardEnd : _facts.duration > 0 ? _facts.duration : HUGE_VAL;
  _position.run(_queryPosition(), _appliedRate, 0, last);
}

void Pipeline::_announcePlay() {
  if (std::exchange(_playAnnounced, true)) return;
  _pauseAnnounced = false;
  _setup.report({.kind = Kind::Play, .rate = _appliedRate});
}

void Pipeline::_issueSeek() {
  const double destination = _seekDestination();
  const auto end = _wantedStop();
  const bool forward = _wantedRate > 0;
  const bool beyondEnd = end && (forward ? destination >= *end : destination <= *end);
  const double lastStart =
      _facts.duration > 0 ? std::max(0.0, _facts.duration - kBeforeEnd) : HUGE_VAL;

  // Always explicit: a stop that is left as it was would keep the last one.
  gint64 start = nanoseconds(std::min(destination, lastStart));
  gint64 stop = -1;
  double rate = _wantedRate;
  const bool atStart = !forward && destination <= kBeforeEnd;
  if (beyondEnd || atStart) {
    rate = 1;  // shows the picture there, and that is all
  } else if (forward) {
    if (end) stop = nanoseconds(*end);
  } else {
    start = nanoseconds(end.value_or(0));
    stop = nanoseconds(destination);
  }

  _wantedPosition.reset();
  _wantedFraction.reset();
  _reseek = false;
  const double before = _queryPosition();
  _hold(destination);
  _videoSink->setHidden(false);
  if (_wantedRate != _appliedRate) _playAnnounced = false;
  _buffering = false;
  _refilledAt.reset();
  _endsAfterSeek = beyondEnd || atStart;
  _scrubbing = false;
  _scrubAt.reset();
  const auto begin = [&] {
    return gst_element_seek(_player.get(), rate, GST_FORMAT_TIME, seekFlags(rate),
                            GST_SEEK_TYPE_SET, start, GST_SEEK_TYPE_SET, stop) ||
           (rate < 0 && _beginScrub(destination));
  };
  // Demuxers may take a seek that their source cannot follow, and wait for ever.
  _refreshFacts();
  _seeking = !_facts.seekable.empty() && begin();
  if (_seeking) {
    _atEnd = false;
    _endAnnounced = false;
    _appliedRate = _wantedRate;
    _appliedStop = end;
    _applyVolume();
    _progress();
    return;
  }
  // Media that cannot be sought: what was asked is dropped, and what is told is what is.
  TVSLogWarning(TVSSystemLog, "Media cannot be sought to %f at rate %f", destination, _wantedRate);
  _wantedRate = _appliedRate;
  _appliedStop = _wantedStop();
  _endsAfterSeek = false;
  _position.hold(before);
  _answerSeek();
}

void Pipeline::_answerSeek() {
  if (!_unansweredSeek || !_ready) return;
  // A newer request is on its way to its own answer.
  if (_wantedPosition) return;
  _setup.report({.kind = Kind::Seek, .seekSerial = *std::exchange(_unansweredSeek, std::nullopt)});
}

void Pipeline::_finishSeek() {
  _seeking = false;
  _mendsSound = false;
  _deadline.reset();
  if (std::exchange(_endsAfterSeek, false)) _atEnd = true;
  if (!_ready) {
    _unansweredSeek.reset();
    if (!_held) _becomeReady();
    return;
  }
  _answerSeek();
}

void Pipeline::_applyVolume() {
  if (_sound) _sound->setVolume(static_cast<double>(_volume), _muted || isTrick(_appliedRate));
}

double Pipeline::_queryPosition() const {
  gint64 position = 0;
  // The library tells the largest position of all sinks. After a seek, those that do not preroll
  // (texts) count on from the start before it until the clock runs again.
  const bool isHeld = _ready && !_timeRuns;
  if (_atEnd || _scrubbing || isHeld ||
      !gst_element_query_position(_player.get(), GST_FORMAT_TIME, &position) || position < 0)
    return _position.seconds();
  const double seconds = secondsOf(position);
  return _facts.duration > 0 ? std::min(seconds, _facts.duration) : seconds;
}

}  // namespace media
