#include <utility>

#include "receivers/upnp/model/Transport.h"

namespace upnp {

namespace {

/// The screen shows that the item has ended, or why it has failed, for this time. A new item that
/// is started meanwhile takes the screen over.
constexpr Clock::Duration kReleaseAfterEnd{3000};
constexpr Clock::Duration kReleaseAfterError{10000};

}  // namespace

void Transport::handleEvent(const BoxEvent& event) {
  if (!_session) return;
  if (event.session && *event.session != _session) return;
  if (event.name == "playing" && event.playback) {
    _handlePlaying(*event.playback);
  } else if (event.name == "loading") {
    _confirm(State::Transitioning);
  } else if (event.name == "paused") {
    _confirm(State::Paused);
  } else if (event.name == "currentItemChanged") {
    if (!_next || event.uuid != _next->uuid) return;
    Playback playback;
    playback.uuid = event.uuid;
    _recognize(playback);
    _publish();
  } else if (event.name == "userStop" || event.name == "stopped") {
    _handleStopped(event.isUserExit);
  } else if (event.name == "userNext") {
    next();
  } else if (event.name == "userPrevious") {
    previous();
  }
}

void Transport::_handlePlaying(const Playback& playback) {
  ++_step;
  if (!_recognize(playback)) return;
  // The viewer has started an ended item again.
  _release.reset();
  _hasError = false;
  _note(playback);
  _setState(State::Playing);
}

bool Transport::_recognize(const Playback& playback) {
  if (_current && playback.uuid == _current->uuid) return true;
  if (_next && playback.uuid == _next->uuid) {
    _advance();
    _calls.publishMetadata(_current->item);
    _save();
    return true;
  }
  // An event of an earlier session that has not ended yet.
  if (playback.uuid.starts_with(kUuidPrefix)) return false;
  _hooks.log("Another receiver service plays");
  _endSession(false);
  return false;
}

void Transport::_confirm(State state) {
  // These events do not name their session.
  const unsigned step = ++_step;
  _calls.readPlayback([this, step, state](const std::optional<Playback>& playback) {
    if (step != _step || !playback || playback->uuid.empty() || !_recognize(*playback)) return;
    if (playback->isReady) _note(*playback);
    if (_state == State::Stopped && state == State::Transitioning) _release.reset();
    _setState(state);
  });
}

void Transport::_handleStopped(bool isUserExit) {
  if (isUserExit) {
    _endSession(false);
    return;
  }
  const unsigned step = ++_step;
  _calls.readPlayback([this, step](const std::optional<Playback>& playback) {
    if (step != _step) return;
    const bool isOther =
        playback && !playback->uuid.empty() && !playback->uuid.starts_with(kUuidPrefix);
    if (!playback || isOther) {
      // Why it has stopped is not known, and another service may play.
      _endSession(false);
    } else if (!playback->error.empty()) {
      // The item that failed may be the appended one.
      _recognize(*playback);
      _hooks.log("Cannot play " + _current->item.uri + ": " + playback->error);
      _hasError = true;
      _setState(State::Stopped);
      _releaseLater(kReleaseAfterError);
    } else if (_next) {
      // It came too late to be appended.
      _advance();
      _start(false);
    } else {
      _playback.reset();
      _setState(State::Stopped);
      _releaseLater(kReleaseAfterEnd);
    }
  });
}

void Transport::_releaseLater(Clock::Duration delay) {
  _release = _clock.after(delay, [this] {
    _calls.stop(std::exchange(_session, 0), {});
    _save();
    _release.reset();
  });
}

void Transport::_endSession(bool isError) {
  const unsigned step = ++_step;
  _release.reset();
  const auto stopped = [this, isError] {
    _playback.reset();
    _hasError = isError;
    if (_current) _setState(State::Stopped);
  };
  const std::uint32_t session = std::exchange(_session, 0);
  _isNextAppended = false;
  _startPosition = 0;
  _save();
  if (!session) {
    stopped();
    return;
  }
  _calls.stop(session, [this, step, stopped](const std::string&) {
    if (step == _step) stopped();
  });
}

void Transport::handleConnected(const Snapshot& snapshot) {
  if (!snapshot.session || !snapshot.current || _session) return;
  const unsigned step = ++_step;
  _calls.readPlayback([this, step, snapshot](const std::optional<Playback>& playback) {
    if (step != _step) return;
    const auto plays = [&](const std::optional<Track>& track) {
      return playback && track && track->uuid == playback->uuid;
    };
    if (plays(snapshot.current) || plays(snapshot.next)) {
      _resume(snapshot, *playback);
    } else {
      // It may have ended and still be on the screen.
      _calls.stop(snapshot.session, {});
      _save();
    }
  });
}

void Transport::_resume(const Snapshot& snapshot, const Playback& playback) {
  _hooks.log("The box still plays " + snapshot.current->item.uri);
  _session = snapshot.session;
  _nextSession = snapshot.session + 1;
  _current = snapshot.current;
  _next = snapshot.next;
  _isNextAppended = _next.has_value();
  _recognize(playback);
  _note(playback);
  if (!playback.error.empty()) {
    _handleStopped(false);
  } else if (!playback.isReady) {
    _setState(State::Transitioning);
  } else {
    _setState(playback.rate != 0 ? State::Playing : State::Paused);
  }
}

Snapshot Transport::handleDisconnected() {
  Snapshot snapshot{_session, _current, _next};
  ++_step;
  _release.reset();
  _session = 0;
  _isNextAppended = false;
  _reader.cancel();
  _playback.reset();
  if (_current) _setState(State::Stopped);
  return snapshot;
}

}  // namespace upnp
