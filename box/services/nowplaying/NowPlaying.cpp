#include "box/services/nowplaying/NowPlaying.h"

#include <array>
#include <cmath>
#include <utility>

#include "platform/foundation/Utf8.h"
#include "platform/foundation/Value.h"

namespace box {

namespace {

using platform::Dictionary;
using platform::RemotePlayback;

/// Keys whose change means a new track.
constexpr std::array kIdentity = {
    platform::kNowPlayingTitle,
    platform::kNowPlayingArtist,
    platform::kNowPlayingAlbum,
    platform::kNowPlayingTrackNumber,
    platform::kNowPlayingUniqueIdentifier,
};

/// Returns the number, or nothing if it is not finite.
std::optional<double> finite(const Dictionary& info, std::string_view key) {
  const auto number = info.number(key);
  if (!number || !std::isfinite(number->doubleValue())) return std::nullopt;
  return number->doubleValue();
}

std::string text(const Dictionary& info, std::string_view key) {
  return platform::replacingInvalidText(info.string(key).value_or(""));
}

NowPlayingState::Status statusOf(RemotePlayback::State state) {
  switch (state) {
    case RemotePlayback::State::Stopped:
      return NowPlayingState::Status::Stopped;
    case RemotePlayback::State::Paused:
      return NowPlayingState::Status::Paused;
    case RemotePlayback::State::Waiting:
    case RemotePlayback::State::Playing:
      break;
  }
  return NowPlayingState::Status::Playing;
}

}  // namespace

void NowPlaying::setEligible(bool eligible) {
  _isEligible = eligible;
  if (!eligible) {
    _info = {};
    _playbackState.reset();
    _position = {};
  }
  _scheduleUpdate();
}

bool NowPlaying::_isRunning() const {
  // A sender that reports progress without a state is playing.
  if (!_playbackState) return _info.contains(platform::kNowPlayingElapsedTime);
  return *_playbackState == platform::NowPlayingPlaybackState::Playing;
}

double NowPlaying::_infoRate() const {
  return finite(_info, platform::kNowPlayingPlaybackRate).value_or(1);
}

void NowPlaying::_rebasePosition() {
  const auto now = _clock.now();
  _position = {_position.at(now), now, _isRunning() ? _infoRate() : 0};
}

void NowPlaying::setNowPlayingInfo(const Dictionary& info, int mergePolicy) {
  const Dictionary before = _info;
  if (mergePolicy == 0) {
    _info.merge(info);
  } else {
    _info = info;
  }
  _countTrack(before);
  _rebasePosition();
  if (const auto elapsed = finite(info, platform::kNowPlayingElapsedTime)) {
    _position.seconds = *elapsed;
    // The elapsed time is that of the time stamp, which may be in the past.
    const auto timestamp = info.date(platform::kNowPlayingTimestamp);
    const double age = timestamp ? _clock.date().secondsSince1970 - timestamp->secondsSince1970 : 0;
    if (std::isfinite(age) && age > 0) _position.seconds += age * _position.rate;
  }
  _scheduleUpdate();
}

void NowPlaying::_countTrack(const Dictionary& before) {
  for (const auto key : kIdentity) {
    if (_info.get(key) == before.get(key)) continue;
    ++_track;
    return;
  }
}

void NowPlaying::setPlaybackState(platform::NowPlayingPlaybackState state) {
  _playbackState = state;
  _rebasePosition();
  _scheduleUpdate();
}

platform::Token NowPlaying::addRemoteCommandTarget(platform::RemoteCommandTarget& target) {
  _scheduleUpdate();
  return platform::Token([this, token = std::make_shared<platform::Token>(_targets.add(target))] {
    token->reset();
    _scheduleUpdate();
  });
}

void NowPlaying::send(const platform::RemoteCommand& command) {
  if (auto* const target = _targets.current()) target->handleRemoteCommand(command);
}

bool NowPlaying::isPaused() const {
  const auto* const target = _targets.current();
  if (!target) return false;
  const auto state = target->remotePlayback().state;
  return state == RemotePlayback::State::Paused || state == RemotePlayback::State::Stopped;
}

NowPlayingState NowPlaying::state() const {
  NowPlayingState state;
  state.isEligible = _isEligible;
  state.title = text(_info, platform::kNowPlayingTitle);
  state.artist = text(_info, platform::kNowPlayingArtist);
  state.album = text(_info, platform::kNowPlayingAlbum);
  const auto number = _info.number(platform::kNowPlayingTrackNumber);
  if (number && number->int32Value() > 0) state.trackNumber = number->int32Value();
  state.duration = finite(_info, platform::kNowPlayingDuration);
  state.artwork = _info.data(platform::kNowPlayingArtworkData);
  state.artworkType = text(_info, platform::kNowPlayingArtworkMIMEType);
  state.position = _position;
  if (_playbackState || _isRunning()) {
    state.status =
        _isRunning() ? NowPlayingState::Status::Playing : NowPlayingState::Status::Paused;
  }
  if (_infoRate() != 0) state.rate = _infoRate();
  if (const auto* const target = _targets.current()) {
    const RemotePlayback playback = target->remotePlayback();
    state.canControl = true;
    state.canSeek = playback.canSeek;
    state.volume = playback.volume;
    state.status = statusOf(playback.state);
    state.position = {playback.elapsed, _clock.now(), playback.rate};
    state.rate = playback.rate != 0 ? playback.rate : 1;
    if (playback.duration) state.duration = playback.duration;
  }
  if (state.duration && *state.duration <= 0) state.duration.reset();
  if (state.status != NowPlayingState::Status::Stopped || !_info.empty()) state.track = _track + 1;
  return state;
}

Dictionary NowPlaying::status() const {
  Dictionary status = _info;
  status.remove(platform::kNowPlayingArtworkData);
  if (_playbackState) status.set("playbackState", static_cast<std::uint32_t>(*_playbackState));
  return status;
}

void NowPlaying::_scheduleUpdate() {
  if (_scheduledUpdate || !_observer) return;
  _scheduledUpdate = _mainQueue.after({}, [this] {
    _scheduledUpdate.reset();
    if (_observer) _observer(state());
  });
}

}  // namespace box
