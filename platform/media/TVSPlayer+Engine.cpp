// What the engine reports, and the state that follows from it.
//
// Reports that answer an older wish, such as "paused" after play() was called again, are overtaken
// by the answer to the newer one, which is on its way; they change nothing.

#include "platform/media/TVSPlayer.h"
#include "platform/services/Platform.h"

void TVSPlayer::_receive(std::uint64_t generation, const std::function<void()>& body) {
  if (generation != _serials.generation) return;
  auto self = shared_from_this();
  ++_serials.receiving;
  body();
  --_serials.receiving;
  // Nobody else holds this player any more. It takes its engine along, which still runs this
  // callback.
  if (self.use_count() == 1) _platform.mainQueue().async([last = std::move(self)] {});
}

void TVSPlayer::engineDidBecomeReady(std::uint64_t generation) {
  _receive(generation, [&] {
    _start = {};
    _phase = _target.playing ? Phase::Ready : Phase::Paused;
    _item->_becomeReady();
    _settle();
    _publishChangedFacts();
  });
}

void TVSPlayer::engineDidPlay(std::uint64_t generation, double rate) {
  _receive(generation, [&] {
    if (!_target.playing) return;
    const bool rateChanged = _phase == Phase::Playing && _engineRate != rate;
    const auto state = _state;
    _phase = Phase::Playing;
    _engineRate = rate;
    _settle();
    if (rateChanged && _state == state) _publishNowPlaying();
  });
}

void TVSPlayer::engineDidPause(std::uint64_t generation) {
  _receive(generation, [&] {
    if (_target.playing) return;
    _phase = Phase::Paused;
    _settle();
  });
}

void TVSPlayer::engineDidStall(std::uint64_t generation) {
  _receive(generation, [&] {
    if (!_target.playing) return;
    _phase = Phase::Stalled;
    _settle();
  });
}

void TVSPlayer::engineDidSeek(std::uint64_t generation) {
  _receive(generation, [&] {
    _updatePreparation();
    _publishNowPlaying();
    _post(TVSPlaybackTimeDidJumpNotification);
  });
}

void TVSPlayer::engineDidReachEnd(std::uint64_t generation) {
  _receive(generation, [&] {
    if (_target.scanRate && _phase == Phase::Playing && _engineRate < 0) {
      // Rewound to the beginning: from there it plays.
      _target.scanRate.reset();
      _runEngine();
      return;
    }
    _phase = Phase::Ended;
    _updateElapsedTimer();
    _post(TVSPlaybackDidPlayToEndOfMediaItemNotification);
    // Whoever was told may have sought, stopped, or changed the playlist.
    if (_serials.generation != generation || _phase != Phase::Ended) return;
    switch (_settings.endAction) {
      case TVSMediaItemEndAction::Advance:
        _leaveItem(true);
        break;
      case TVSMediaItemEndAction::Pause:
        _target = {false, std::nullopt};
        _engine->pause();
        _settle();
        break;
      case TVSMediaItemEndAction::None:
        _settle();
        break;
    }
  });
}

void TVSPlayer::engineDidFail(std::uint64_t generation, const platform::Error& error) {
  _receive(generation, [&] {
    _item->_status = platform::PlayerItemStatus::Failed;
    _item->_error = error;
    _phase = Phase::Stalled;
    _updateElapsedTimer();
    _recordFailure(error);
    _leaveItem(false);
  });
}

void TVSPlayer::engineFactsDidChange(std::uint64_t generation) {
  _receive(generation, [&] {
    _updatePreparation();
    if (_isReady()) _item->_makeKeptSelections();
    _publishChangedFacts();
    _observers.facts.call();
  });
}

void TVSPlayer::engineSelectionDidChange(std::uint64_t generation,
                                         const std::string& characteristic) {
  _receive(generation, [&] {
    if (characteristic == platform::kMediaCharacteristicAudible) _observers.audioOption.call();
    if (characteristic == platform::kMediaCharacteristicLegible) _observers.subtitleOption.call();
  });
}

bool TVSPlayer::_scans() const { return _target.scanRate && (_engineRate > 2 || _engineRate < 0); }

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
      return _scans() ? TVSPlaybackState::Scanning : TVSPlaybackState::Playing;
  }
  return TVSPlaybackState::Stopped;
}

void TVSPlayer::_settle() {
  _state = _stateOfPhase();
  _updateElapsedTimer();
  _updatePreparation();
  _announce();
}
