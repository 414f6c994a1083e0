#include "box/services/nowplaying/MprisObject.h"

#include <cmath>
#include <utility>
#include <vector>

#include "box/services/nowplaying/MprisCalls.h"

namespace box {

namespace {

constexpr double kToleranceSeconds = 0.5;

bool isSameTrack(const NowPlayingState& one, const NowPlayingState& other) {
  return one.track == other.track && one.title == other.title && one.artist == other.artist &&
         one.album == other.album && one.trackNumber == other.trackNumber &&
         one.duration == other.duration;
}

}  // namespace

MprisObject::MprisObject(const platform::Clock& clock, std::string artworkFolder, Commands commands)
    : _clock(clock), _commands(std::move(commands)), _artwork(std::move(artworkFolder)) {}

MprisObject::~MprisObject() = default;

void MprisObject::busDidConnect(sd_bus* bus) {
  _bus = bus;
  if (_state.isEligible) _publish();
}

void MprisObject::busDidDisconnect() {
  _root.reset();
  _player.reset();
  _name.didDisconnect();
  _bus = nullptr;
}

void MprisObject::_publish() {
  sd_bus_slot* slot = nullptr;
  if (sd_bus_add_object_vtable(_bus, &slot, kPath, kRootInterface, MprisCalls::root(), this) < 0)
    return;
  _root.reset(slot);
  if (sd_bus_add_object_vtable(_bus, &slot, kPath, kPlayerInterface, MprisCalls::player(), this) <
      0) {
    return;
  }
  _player.reset(slot);
  _name.request(_bus);
  _announcedPosition = _positionFrom(_position());
}

void MprisObject::_unpublish() {
  _name.release();
  _root.reset();
  _player.reset();
}

void MprisObject::show(const NowPlayingState& state) {
  const NowPlayingState previous = std::exchange(_state, state);
  if (!_state.isEligible) {
    _artwork.remove();
    _artworkURL.clear();
    if (_bus) _unpublish();
    return;
  }
  const std::string previousURL =
      std::exchange(_artworkURL, _artwork.show(_state.artwork, _state.artworkType));
  // The data are in the file now; do not keep a copy.
  _state.artwork.reset();
  if (!_bus) return;
  if (!_player) return _publish();
  _emitChanges(previous, previousURL);
  _emitSeeked();
}

void MprisObject::_emitChanges(const NowPlayingState& previous, const std::string& previousURL) {
  std::vector<char*> names;
  const auto add = [&](bool changed, const char* name) {
    // sd-bus takes char** but does not modify the strings.
    if (changed) names.push_back(const_cast<char*>(name));
  };
  add(previous.status != _state.status, "PlaybackStatus");
  add(previous.rate != _state.rate, "Rate");
  add(!isSameTrack(previous, _state) || previousURL != _artworkURL, "Metadata");
  add(previous.volume != _state.volume, "Volume");
  if (previous.canControl != _state.canControl) {
    for (const char* name : {"CanGoNext", "CanGoPrevious", "CanPlay", "CanPause"}) add(true, name);
  }
  add(previous.canSeek != _state.canSeek, "CanSeek");
  if (previous.track != _state.track) _announcedPosition = {};
  if (names.empty()) return;
  names.push_back(nullptr);
  sd_bus_emit_properties_changed_strv(_bus, kPath, kPlayerInterface, names.data());
}

void MprisObject::_emitSeeked() {
  const double position = _position();
  const double announced = _announcedPosition.at(_clock.now());
  const bool isWrong = std::abs(position - announced) > kToleranceSeconds;
  _announcedPosition = _positionFrom(isWrong ? position : announced);
  if (isWrong) {
    sd_bus_emit_signal(_bus, kPath, kPlayerInterface, "Seeked", "x",
                       MprisCalls::microseconds(position));
  }
}

RunningPosition MprisObject::_positionFrom(double seconds) const {
  const bool runs = _state.status == NowPlayingState::Status::Playing;
  return {seconds, _clock.now(), runs ? _state.rate : 0};
}

std::string MprisObject::_trackPath() const {
  return _state.track == 0 ? "/org/mpris/MediaPlayer2/TrackList/NoTrack"
                           : "/quorin/tvvorlane/Track/" + std::to_string(_state.track);
}

}  // namespace box
