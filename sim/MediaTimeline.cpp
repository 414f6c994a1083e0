// The timeline of sim::MediaEngine. Positions are computed from an anchor. One timer waits for the
// next script event in the direction of playback.

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/media/TimedMetadataItem.h"
#include "sim/MediaEngine.h"

namespace sim {

bool MediaEngine::_runs() const {
  return _stage == Stage::Ready && !_holds.paused && !_holds.stalled && !_holds.awaitingAnswer &&
         !_holds.seeking && !_holds.ended;
}

double MediaEngine::_liveEdge() const {
  return *_script->liveWindow + platform::secondsFromDuration(_clock.now() - _loadTime);
}

double MediaEngine::_clamped(double seconds) const {
  if (!_script->liveWindow) return std::clamp(seconds, 0.0, std::max(0.0, _script->duration));
  const double edge = _liveEdge();
  return std::clamp(seconds, edge - *_script->liveWindow, edge);
}

double MediaEngine::_runningPosition() const {
  if (!_runs()) return _motion.position;
  const double elapsed = platform::secondsFromDuration(_clock.now() - _motion.since);
  return _clamped(_motion.position + elapsed * _motion.rate);
}

void MediaEngine::_anchor(double position) {
  _motion.position = position;
  _motion.since = _clock.now();
}

bool MediaEngine::_atEnd() const {
  if (_motion.rate < 0)
    return _motion.position <= std::max(0.0, _load.reverseEndSeconds.value_or(0));
  if (_load.forwardEndSeconds && _motion.position >= *_load.forwardEndSeconds) return true;
  return !_script->liveWindow && _motion.position >= _script->duration;
}

void MediaEngine::_reachEnd() {
  _holds.ended = true;
  _timers.next.reset();
  _post([](auto& observer, auto generation) { observer.engineDidReachEnd(generation); });
}

std::optional<MediaEngine::Event> MediaEngine::_nextEvent() const {
  const bool forwards = _motion.rate > 0;
  std::optional<Event> next;
  const auto consider = [&](Event event) {
    const bool ahead =
        forwards ? event.position >= _motion.position : event.position <= _motion.position;
    if (!ahead) return;
    const bool nearer =
        !next || (forwards ? event.position < next->position : event.position > next->position);
    if (nearer) next = event;
  };
  // The first candidate wins if several are at the same position.
  if (_script->failure && !_pastEvents.failure)
    consider({Event::Kind::Failure, _script->failure->position});
  for (std::size_t index = 0; index < _script->stalls.size(); ++index) {
    if (!_pastEvents.stalls.contains(index))
      consider({Event::Kind::Stall, _script->stalls[index].position, index});
  }
  for (std::size_t index = 0; index < _script->requests.size(); ++index) {
    const auto& request = _script->requests[index];
    if (request.position && !_pastEvents.requests.contains(index))
      consider({Event::Kind::Request, *request.position, index});
  }
  if (forwards) {
    double end = _load.forwardEndSeconds.value_or(INFINITY);
    if (!_script->liveWindow) end = std::min(end, _script->duration);
    if (std::isfinite(end)) consider({Event::Kind::End, std::max(end, _motion.position)});
  } else {
    consider({Event::Kind::End,
              std::min(std::max(0.0, _load.reverseEndSeconds.value_or(0)), _motion.position)});
  }
  for (const auto& metadata : _script->timedMetadata) {
    // Metadata at the current position were already reported.
    if (metadata.position != _motion.position) consider({Event::Kind::Metadata, metadata.position});
  }
  return next;
}

void MediaEngine::_schedule() {
  _timers.next.reset();
  if (!_runs()) return;
  _anchor(_runningPosition());
  const auto event = _nextEvent();
  if (!event) return;
  const double seconds = std::abs(event->position - _motion.position) / std::abs(_motion.rate);
  _timers.next = _mainQueue.after(platform::durationFromSeconds(seconds),
                                  [this, next = *event] { _handle(next); });
}

void MediaEngine::_handle(const Event& event) {
  // Sets the exact position, because timers are rounded.
  _anchor(event.position);
  switch (event.kind) {
    case Event::Kind::End:
      _reachEnd();
      return;
    case Event::Kind::Failure:
      _pastEvents.failure = true;
      fail(_script->failure->error);
      return;
    case Event::Kind::Stall:
      _pastEvents.stalls.insert(event.index);
      _holds.stalled = true;
      _reportMotion();
      _timers.stall = _mainQueue.after(
          platform::durationFromSeconds(_script->stalls[event.index].length), [this] {
            _anchor(_motion.position);
            _holds.stalled = false;
            if (!_holds.paused) _reportMotion();
            _schedule();
          });
      return;
    case Event::Kind::Request:
      _holds.awaitingAnswer = true;
      _reportMotion();
      _sendRequest(event.index, [this, index = event.index](const auto&) {
        _anchor(_motion.position);
        _pastEvents.requests.insert(index);
        _holds.awaitingAnswer = false;
        if (!_holds.paused) _reportMotion();
        _schedule();
      });
      return;
    case Event::Kind::Metadata:
      _post([](auto& observer, auto generation) { observer.engineFactsDidChange(generation); });
      _schedule();
      return;
  }
}

}  // namespace sim
