#include "media/pipeline/playback/Seeking.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/elements/ResourcePipeline.h"
#include "media/engine/TimelineFacts.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

/// After a seek to the very end demuxers send EOS at once and no picture. Seek this much before it.
constexpr double kBeforeEnd = 0.02;

gint64 nanoseconds(double seconds) {
  return static_cast<gint64>(std::llround(std::max(0.0, seconds) * GST_SECOND));
}

GstSeekFlags seekFlags(double rate) {
  int flags = GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE;
  // At high rates decoding is too slow: show key units only.
  if (std::abs(rate) > kTrickRate)
    flags = GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_TRICKMODE | GST_SEEK_FLAG_TRICKMODE_KEY_UNITS |
            GST_SEEK_FLAG_TRICKMODE_NO_AUDIO;
  return static_cast<GstSeekFlags>(flags);
}

}  // namespace

void Seeking::request(double seconds, std::uint64_t serial) {
  _wanted.position = seconds;
  _wanted.fraction.reset();
  _wanted.date.reset();
  _unreportedSerial = serial;
}

void Seeking::requestDate(platform::Date date, std::uint64_t serial) {
  _wanted.date = date;
  _unreportedSerial = serial;
}

void Seeking::resolveDate() {
  if (!_wanted.date) return;
  const platform::Date date = *std::exchange(_wanted.date, std::nullopt);
  if (const auto position = positionOfDate(_load.setup.item.get(), date)) {
    _wanted.position = *position;
    _wanted.fraction.reset();
    return;
  }
  if (!_wanted.position) _unreportedSerial.reset();
  // The preroll picture was hidden for the seek: show it.
  if (!_state.ready) _wanted.flush = true;
}

double Seeking::_destination() const {
  const platform::MediaFacts& facts = _load.facts.newest();
  double seconds = 0;
  if (_wanted.position)
    seconds = *_wanted.position;
  else if (_wanted.fraction && facts.duration > 0)
    seconds = *_wanted.fraction * facts.duration;
  else if (!_wanted.fraction || facts.live)
    seconds = _player.position();  // a live stream has no fractions and starts at its edge
  if (!std::isfinite(seconds)) seconds = seconds > 0 ? facts.duration : 0;
  seconds = std::max(0.0, seconds);
  if (facts.duration > 0) seconds = std::min(seconds, facts.duration);
  if (!facts.seekable.empty()) {
    const platform::TimeRange& range = facts.seekable.front();
    seconds = std::clamp(seconds, range.start, range.start + std::max(0.0, range.duration));
  }
  return seconds;
}

Seeking::Segment Seeking::_segmentAt(double destination) const {
  const double duration = _load.facts.newest().duration;
  const auto end = _wanted.stop();
  const bool forward = _wanted.rate > 0;
  const bool beyondEnd = end && (forward ? destination >= *end : destination <= *end);
  const bool atStart = !forward && destination <= kBeforeEnd;
  const double lastStart = duration > 0 ? std::max(0.0, duration - kBeforeEnd) : HUGE_VAL;

  // Always set: GStreamer would keep the previous stop position.
  Segment segment{.rate = _wanted.rate,
                  .start = nanoseconds(std::min(destination, lastStart)),
                  .stop = -1,
                  .isEnd = beyondEnd || atStart};
  if (segment.isEnd) {
    segment.rate = 1;  // only shows the picture at the end
  } else if (forward) {
    if (end) segment.stop = nanoseconds(*end);
  } else {
    segment.start = nanoseconds(end.value_or(0));
    segment.stop = nanoseconds(destination);
  }
  return segment;
}

bool Seeking::_send(const Segment& segment, double destination) {
  // Many demuxers deliver no pictures at such a rate, or in a wrong order.
  if (segment.rate < -kTrickRate) return _scrubbing.begin(destination);
  return gst_element_seek(_player.element(), segment.rate, GST_FORMAT_TIME, seekFlags(segment.rate),
                          GST_SEEK_TYPE_SET, segment.start, GST_SEEK_TYPE_SET, segment.stop) ||
         (segment.rate < 0 && _scrubbing.begin(destination));
}

void Seeking::begin() {
  const double destination = _destination();
  const Segment segment = _segmentAt(destination);
  const auto end = _wanted.stop();

  _wanted.position.reset();
  _wanted.fraction.reset();
  _wanted.flush = false;
  const double before = _player.position();
  _player.hold(destination);
  _elements.video->setHidden(false);
  if (_wanted.rate != _state.rate) _announcements.renewPlay();
  _buffering.noteSeek();
  _endsAfter = segment.isEnd;
  _scrubbing.end();
  // Some demuxers accept a seek that their source cannot perform, and then wait forever.
  _facts.refresh();
  _state.seeking = !_load.facts.newest().seekable.empty() && _send(segment, destination);
  if (_state.seeking) {
    _state.atEnd = false;
    _announcements.renewEnd();
    _state.rate = _wanted.rate;
    _state.stop = end;
    _sound.applyVolume();
    _progressTimeout.noteProgress();
    return;
  }
  // Not seekable: drop the request and report the actual state.
  TVSLogWarning(TVSSystemLog, "Media cannot be sought to %f at rate %f", destination, _wanted.rate);
  _wanted.rate = _state.rate;
  _state.stop = _wanted.stop();
  _endsAfter = false;
  _load.position.hold(before);
  _reportSeek();
}

void Seeking::_reportSeek() {
  if (!_unreportedSerial || !_state.ready) return;
  // A newer request will be reported instead.
  if (_wanted.position) return;
  _announcements.seek(*std::exchange(_unreportedSerial, std::nullopt));
}

void Seeking::finish() {
  _state.seeking = false;
  if (!_elements.presentation) finishSeek(_player.element());
  _sound.noteFlush();
  _progressTimeout.clear();
  if (std::exchange(_endsAfter, false)) _state.atEnd = true;
  if (_state.ready)
    _reportSeek();
  else
    _unreportedSerial.reset();
}

bool Seeking::stepScrubbing() {
  const double end = _scrubbing.limit();
  const double seconds = _load.position.seconds();
  _endsAfter = seconds <= end;
  if (_endsAfter) _player.hold(end);
  if (_scrubbing.seekTo(std::max(seconds, end))) return false;
  // If seeks fail, time still runs to the end.
  if (!_endsAfter) _scrubbing.postponeStep();
  return _endsAfter;
}

}  // namespace media
