// Remote commands of media keys and now-playing displays.

#include <algorithm>
#include <cmath>

#include "platform/media/TVSPlayer.h"
#include "platform/services/Platform.h"

void TVSPlayer::setHandlesRemoteCommandsWithoutNowPlayingInfo(bool handles) {
  _remotes.handlesCommands = handles;
  _updateRemoteCommands();
}

void TVSPlayer::_updateRemoteCommands() {
  const bool takes =
      _engine && _items.playlist && (_remotes.handlesCommands || _remotes.updatesNowPlaying);
  if (takes == static_cast<bool>(_remotes.commands)) return;
  _remotes.commands =
      takes ? _platform.nowPlaying().addRemoteCommandTarget(*this) : platform::Token();
}

void TVSPlayer::_notifyRemotes() {
  if (_remotes.commands) _platform.nowPlaying().remotePlaybackDidChange();
}

void TVSPlayer::handleRemoteCommand(const platform::RemoteCommand& command) {
  using Kind = platform::RemoteCommand::Kind;
  const auto self = shared_from_this();
  switch (command.kind) {
    case Kind::Play:
      return play();
    case Kind::Pause:
      return pause();
    case Kind::TogglePlayPause: {
      const bool runs = _isLoaded() && _target.playing;
      return runs ? pause() : play();
    }
    case Kind::Stop:
      return stop();
    case Kind::Next:
      return changeMediaInDirection(TVSMediaDirection::Next);
    case Kind::Previous:
      return changeMediaInDirection(TVSMediaDirection::Previous);
    case Kind::SkipBy:
      return _skipBy(command.value);
    case Kind::SeekTo:
      return setElapsedTime(command.value);
    case Kind::SetRate:
      return setRateUsedForPlayback(command.value);
    case Kind::SetVolume:
      return setVolume(static_cast<float>(command.value));
  }
}

void TVSPlayer::_skipBy(double seconds) {
  if (!_isReady() || !std::isfinite(seconds)) return;
  const double target = elapsedTime() + seconds;
  const double end = duration();
  if (end != TVSDurationIndefinite && target > end) {
    changeMediaInDirection(TVSMediaDirection::Next);
  } else {
    setElapsedTime(std::max(0.0, target));
  }
}

platform::RemotePlayback TVSPlayer::remotePlayback() const {
  using State = platform::RemotePlayback::State;
  platform::RemotePlayback playback;
  playback.volume = _settings.volume;
  if (!_isLoaded()) return playback;
  switch (_state) {
    case TVSPlaybackState::Loading:
      playback.state = _target.playing ? State::Waiting : State::Paused;
      break;
    case TVSPlaybackState::Playing:
    case TVSPlaybackState::Scanning:
      playback.state = State::Playing;
      break;
    case TVSPlaybackState::Paused:
    case TVSPlaybackState::Stopped:
      playback.state = State::Paused;
      break;
  }
  playback.elapsed = elapsedTime();
  playback.rate = rate();
  if (const double seconds = duration(); seconds != TVSDurationIndefinite)
    playback.duration = seconds;
  playback.canSeek = !cachedSeekableTimeRanges().empty();
  return playback;
}
