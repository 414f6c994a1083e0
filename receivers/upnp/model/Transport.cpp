#include "receivers/upnp/model/Transport.h"

#include <utility>

#include "receivers/upnp/model/ItemChecks.h"
#include "receivers/upnp/model/Time.h"

namespace upnp {

Transport::Transport(BoxCalls& calls, Clock& clock, LastChange& changes, Rendering& rendering,
                     Hooks hooks)
    : _calls(calls),
      _clock(clock),
      _changes(changes),
      _rendering(rendering),
      _hooks(std::move(hooks)),
      _reader(calls, clock),
      _nextSession(_hooks.firstSession) {
  // Without a session of its own the calls would go to that of another receiver service.
  _rendering.setApply([this] {
    if (!_session) return;
    _calls.setVolume(_rendering.gain());
    _calls.setMuted(_rendering.isMuted());
  });
  _publish();
}

Failure Transport::setUri(Item item) {
  if (item.uri.empty()) {
    if (_session) stop();
    _current.reset();
    _next.reset();
    _hasError = false;
    _setState(State::NoMedia);
    return std::nullopt;
  }
  if (const Failure failure = checkItem(item)) return failure;
  _withdrawNext();
  _next.reset();
  _previous.reset();
  _current = Track{std::move(item), _hooks.makeUuid()};
  _startPosition = 0;
  _playback.reset();
  _hasError = false;
  // The standard leaves the state as it is, so a new item plays at once if one plays.
  if (_session && _state != State::Stopped) {
    _start(_state == State::Paused);
  } else if (_state == State::NoMedia) {
    _setState(State::Stopped);
  } else {
    _publish();
  }
  return std::nullopt;
}

Failure Transport::setNextUri(Item item) {
  if (!_current) return Error::TransitionNotAvailable;
  if (!item.uri.empty()) {
    if (const Failure failure = checkItem(item)) return failure;
  }
  _withdrawNext();
  _next.reset();
  if (!item.uri.empty()) {
    _next = Track{std::move(item), _hooks.makeUuid()};
    if (_session && _state != State::Stopped) _appendNext();
  }
  _publish();
  _save();
  return std::nullopt;
}

Failure Transport::play(std::string_view speed) {
  if (speed != "1") return Error::PlaySpeedNotSupported;
  if (!_current) return Error::TransitionNotAvailable;
  if (!_calls.isConnected()) return Error::ActionFailed;
  if (_session && _state != State::Stopped) {
    // Also resumes what was paused before it has started.
    if (_state != State::Playing) _calls.setRate(1);
    return std::nullopt;
  }
  _start(false);
  return std::nullopt;
}

Failure Transport::pause() {
  if (!_session || _state == State::Stopped) return Error::TransitionNotAvailable;
  _calls.setRate(0);
  return std::nullopt;
}

Failure Transport::stop() {
  if (!_current) return Error::TransitionNotAvailable;
  _endSession(false);
  return std::nullopt;
}

Failure Transport::seek(std::string_view unit, std::string_view target) {
  const bool isTime = unit == "REL_TIME" || unit == "ABS_TIME";
  if (!isTime && unit != "TRACK_NR") return Error::SeekModeNotSupported;
  if (!_current) return Error::TransitionNotAvailable;
  if (!isTime) return target == "1" ? _seekTo(0) : Failure(Error::IllegalSeekTarget);
  const auto seconds = parseTime(target);
  if (!seconds || (duration() > 0 && *seconds > duration())) return Error::IllegalSeekTarget;
  return _seekTo(*seconds);
}

Failure Transport::_seekTo(double seconds) {
  if (_session && _state != State::Stopped) {
    _calls.seek(seconds);
  } else {
    _startPosition = seconds;
  }
  return std::nullopt;
}

Failure Transport::next() {
  if (!_current) return Error::TransitionNotAvailable;
  if (!_next) return Error::IllegalSeekTarget;
  if (!_calls.isConnected()) return Error::ActionFailed;
  // The start makes a session without the old list, in which the item was appended.
  _advance();
  _start(false);
  return std::nullopt;
}

Failure Transport::previous() {
  if (!_current) return Error::TransitionNotAvailable;
  if (!_previous) return _seekTo(0);
  if (!_calls.isConnected()) return Error::ActionFailed;
  _withdrawNext();
  _next.reset();
  _current = Track{*std::exchange(_previous, std::nullopt), _hooks.makeUuid()};
  _start(false);
  return std::nullopt;
}

Failure Transport::setPlayMode(std::string_view mode) {
  return mode == "NORMAL" ? Failure() : Failure(Error::PlayModeNotSupported);
}

void Transport::readPosition(std::function<void(double)> done) {
  if (!_session || _state == State::Stopped) {
    done(_startPosition);
    return;
  }
  _reader.read([this, done = std::move(done)](const std::optional<Playback>& playback) {
    if (playback && _current && playback->uuid == _current->uuid && playback->isReady) {
      _note(*playback);
      _publish();
    }
    done(_playback ? _playback->position : _startPosition);
  });
}

double Transport::duration() const { return _current ? _current->item.duration : 0; }

void Transport::_note(const Playback& playback) {
  _playback = playback;
  // The box knows it better than the metadata.
  if (playback.duration > 0) _current->item.duration = playback.duration;
}

void Transport::_start(bool isPaused) {
  const std::uint32_t old = _session;
  ++_step;
  _release.reset();
  _session = _nextSession++;
  // 0 means none.
  if (_nextSession == 0) _nextSession = 1;
  _playback.reset();
  _hasError = false;
  _isNextAppended = false;
  _setState(State::Transitioning);
  const StartOptions options{_startPosition, isPaused, _rendering.gain(), _rendering.isMuted()};
  _startPosition = 0;
  _calls.start(_session, *_current, options, [this, session = _session](const auto& error) {
    if (session != _session) return;
    if (error.empty()) {
      _calls.publishMetadata(_current->item);
    } else {
      _hooks.log("Cannot play " + _current->item.uri + ": " + error);
      _endSession(true);
    }
  });
  if (_next) _appendNext();
  // After the start, so that the box does not leave the screen in between.
  if (old) _calls.stop(old, {});
  _save();
}

void Transport::_appendNext() {
  _isNextAppended = true;
  _calls.append(_session, *_next, [this, uuid = _next->uuid](const std::string& error) {
    if (error.empty() || !_next || _next->uuid != uuid) return;
    // The item is started when the current one has ended.
    _isNextAppended = false;
    _hooks.log("Cannot append " + _next->item.uri + ": " + error);
  });
}

void Transport::_withdrawNext() {
  if (_next && _isNextAppended && _session) _calls.remove(_session, _next->uuid);
  _isNextAppended = false;
}

void Transport::_advance() {
  _previous = std::move(_current->item);
  _current = std::exchange(_next, std::nullopt);
  _isNextAppended = false;
  _playback.reset();
  _startPosition = 0;
}

void Transport::_setState(State state) {
  _state = state;
  _publish();
}

void Transport::_save() { _hooks.save({_session, _current, _next}); }

namespace {

std::string actionsOf(Transport::State state, bool hasNext) {
  switch (state) {
    case Transport::State::NoMedia:
      return "";
    case Transport::State::Stopped:
      return hasNext ? "Play,Seek,Next" : "Play,Seek";
    case Transport::State::Transitioning:
    case Transport::State::Playing:
      return hasNext ? "Stop,Pause,Seek,Previous,Next" : "Stop,Pause,Seek,Previous";
    case Transport::State::Paused:
      return hasNext ? "Play,Stop,Seek,Previous,Next" : "Play,Stop,Seek,Previous";
  }
  return "";
}

}  // namespace

const char* stateName(Transport::State state) {
  switch (state) {
    case Transport::State::NoMedia:
      return "NO_MEDIA_PRESENT";
    case Transport::State::Stopped:
      return "STOPPED";
    case Transport::State::Transitioning:
      return "TRANSITIONING";
    case Transport::State::Playing:
      return "PLAYING";
    case Transport::State::Paused:
      return "PAUSED_PLAYBACK";
  }
  return "";
}

void Transport::_publish() {
  const Item none;
  const Item& current = _current ? _current->item : none;
  const Item& next = _next ? _next->item : none;
  const std::string length = formatTime(duration());
  const char* const count = _current ? "1" : "0";
  _changes.set("TransportState", stateName(_state));
  _changes.set("TransportStatus", _hasError ? "ERROR_OCCURRED" : "OK");
  _changes.set("TransportPlaySpeed", "1");
  _changes.set("CurrentPlayMode", "NORMAL");
  _changes.set("NumberOfTracks", count);
  _changes.set("CurrentTrack", count);
  _changes.set("CurrentTrackDuration", length);
  _changes.set("CurrentMediaDuration", length);
  _changes.set("CurrentTrackURI", current.uri);
  _changes.set("CurrentTrackMetaData", current.metadata);
  _changes.set("AVTransportURI", current.uri);
  _changes.set("AVTransportURIMetaData", current.metadata);
  _changes.set("NextAVTransportURI", next.uri);
  _changes.set("NextAVTransportURIMetaData", next.metadata);
  _changes.set("CurrentTransportActions", actionsOf(_state, _next.has_value()));
  _changes.set("PlaybackStorageMedium", _current ? "NETWORK" : "NONE");
  _changes.set("PossiblePlaybackStorageMedia", "NONE,NETWORK");
  _changes.set("RecordStorageMedium", "NOT_IMPLEMENTED");
  _changes.set("PossibleRecordStorageMedia", "NOT_IMPLEMENTED");
  _changes.set("RecordMediumWriteStatus", "NOT_IMPLEMENTED");
  _changes.set("CurrentRecordQualityMode", "NOT_IMPLEMENTED");
  _changes.set("PossibleRecordQualityModes", "NOT_IMPLEMENTED");
}

}  // namespace upnp
