// Engine events and the playback state.
//
// Events that answer an older call, such as "paused" after another play(), are ignored: the event
// that answers the newer call will follow.

#include "platform/media/TVSPlayer.h"
#include "platform/services/Platform.h"

void TVSPlayer::_handleEngineEvent(std::uint64_t generation, const std::function<void()>& body) {
  if (generation != _serials.generation) return;
  auto self = shared_from_this();
  ++_serials.engineEventDepth;
  body();
  --_serials.engineEventDepth;
  // The callback has released the last other reference. The player is destroyed later, because its
  // engine must not be destroyed inside this callback.
  if (self.use_count() == 1) _platform.mainQueue().async([last = std::move(self)] {});
}

void TVSPlayer::engineDidBecomeReady(std::uint64_t generation) {
  _handleEngineEvent(generation, [&] {
    _start = {};
    _phase = _target.playing ? Phase::Ready : Phase::Paused;
    _item->_becomeReady();
    _updateState();
    _publishNowPlayingIfChanged();
  });
}

void TVSPlayer::engineDidPlay(std::uint64_t generation, double rate) {
  _handleEngineEvent(generation, [&] {
    if (!_target.playing) return;
    const bool rateChanged = _phase == Phase::Playing && _engineRate != rate;
    const auto state = _state;
    _phase = Phase::Playing;
    _engineRate = rate;
    _updateState();
    if (rateChanged && _state == state) _publishNowPlaying();
  });
}

void TVSPlayer::engineDidPause(std::uint64_t generation) {
  _handleEngineEvent(generation, [&] {
    if (_target.playing) return;
    _phase = Phase::Paused;
    _updateState();
  });
}

void TVSPlayer::engineDidStall(std::uint64_t generation) {
  _handleEngineEvent(generation, [&] {
    if (!_target.playing) return;
    _phase = Phase::Stalled;
    _updateState();
  });
}

void TVSPlayer::engineDidSeek(std::uint64_t generation) {
  _handleEngineEvent(generation, [&] {
    _updatePreparation();
    _publishNowPlaying();
    _post(TVSPlaybackTimeDidJumpNotification);
  });
}

void TVSPlayer::engineDidReachEnd(std::uint64_t generation) {
  _handleEngineEvent(generation, [&] {
    if (_target.scanRate && _phase == Phase::Playing && _engineRate < 0) {
      // Rewind has reached the beginning: continue with normal playback.
      _target.scanRate.reset();
      _playAtTargetRate();
      return;
    }
    _phase = Phase::Ended;
    _updateElapsedTimer();
    _post(TVSPlaybackDidPlayToEndOfMediaItemNotification);
    // Observers may have called seek or stop, or changed the playlist.
    if (_serials.generation != generation || _phase != Phase::Ended) return;
    switch (_settings.endAction) {
      case TVSMediaItemEndAction::Advance:
        _advanceOrStop(true);
        break;
      case TVSMediaItemEndAction::Pause:
        _target = {false, std::nullopt};
        _engine->pause();
        _updateState();
        break;
      case TVSMediaItemEndAction::None:
        _updateState();
        break;
    }
  });
}

void TVSPlayer::engineDidFail(std::uint64_t generation, const platform::Error& error) {
  _handleEngineEvent(generation, [&] {
    _recordFailure(error);
    _item->_status = platform::PlayerItemStatus::Failed;
    _item->_error = error;
    _phase = Phase::Stalled;
    _updateElapsedTimer();
    _advanceOrStop(false);
  });
}

void TVSPlayer::engineFactsDidChange(std::uint64_t generation) {
  _handleEngineEvent(generation, [&] {
    _updatePreparation();
    if (_isReady()) _item->_applyPendingSelections();
    _publishNowPlayingIfChanged();
    _observers.facts.call();
  });
}

void TVSPlayer::engineSelectionDidChange(std::uint64_t generation,
                                         const std::string& characteristic) {
  _handleEngineEvent(generation, [&] {
    if (characteristic == platform::kMediaCharacteristicAudible) _observers.audioOption.call();
    if (characteristic == platform::kMediaCharacteristicLegible) _observers.subtitleOption.call();
  });
}

bool TVSPlayer::_isScanning() const {
  return _target.scanRate && (_engineRate > 2 || _engineRate < 0);
}

TVSPlaybackState TVSPlayer::_stateOfPhase() const {
  switch (_phase) {
    case Phase::Idle:
      return TVSPlaybackState::Stopped;
    case Phase::Loading:
    case Phase::Ready:
    case Phase::Stalled:
      return TVSPlaybackState::Loading;
    case Phase::Paused:
      return TVSPlaybackState::Paused;
    case Phase::Ended:
      if (!_target.playing) return TVSPlaybackState::Paused;
      [[fallthrough]];
    case Phase::Playing:
      return _isScanning() ? TVSPlaybackState::Scanning : TVSPlaybackState::Playing;
  }
  return TVSPlaybackState::Stopped;
}

void TVSPlayer::_updateState() {
  _state = _stateOfPhase();
  _updateElapsedTimer();
  _updatePreparation();
  _announceState();
}
