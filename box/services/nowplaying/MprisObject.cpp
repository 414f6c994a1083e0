#include "box/services/nowplaying/MprisObject.h"

#include <cmath>
#include <utility>
#include <vector>

#include "box/services/nowplaying/MprisCalls.h"

namespace box {

namespace {

constexpr double kTolerance = 0.5;

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
  _name.forget();
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
  _told = _positionFrom(_position());
}

void MprisObject::_withdraw() {
  _name.release();
  _root.reset();
  _player.reset();
}

void MprisObject::show(const NowPlayingState& state) {
  const NowPlayingState before = std::exchange(_state, state);
  if (!_state.isEligible) {
    _artwork.remove();
    _artworkURL.clear();
    if (_bus) _withdraw();
    return;
  }
  const std::string urlBefore =
      std::exchange(_artworkURL, _artwork.show(_state.artwork, _state.artworkType));
  // The file is enough.
  _state.artwork.reset();
  if (!_bus) return;
  if (!_player) return _publish();
  _emitChanges(before, urlBefore);
  _emitSeeked();
}

void MprisObject::_emitChanges(const NowPlayingState& before, const std::string& urlBefore) {
  std::vector<char*> names;
  const auto add = [&](bool changed, const char* name) {
    // The library takes them as char*, and does not write to them.
    if (changed) names.push_back(const_cast<char*>(name));
  };
  add(before.status != _state.status, "PlaybackStatus");
  add(before.rate != _state.rate, "Rate");
  add(!isSameTrack(before, _state) || urlBefore != _artworkURL, "Metadata");
  add(before.volume != _state.volume, "Volume");
  if (before.canControl != _state.canControl) {
    for (const char* name : {"CanGoNext", "CanGoPrevious", "CanPlay", "CanPause"}) add(true, name);
  }
  add(before.canSeek != _state.canSeek, "CanSeek");
  if (before.track != _state.track) _told = {};
  if (names.empty()) return;
  names.push_back(nullptr);
  sd_bus_emit_properties_changed_strv(_bus, kPath, kPlayerInterface, names.data());
}

void MprisObject::_emitSeeked() {
  const double is = _position();
  const double told = _told.at(_clock.now());
  const bool isOff = std::abs(is - told) > kTolerance;
  _told = _positionFrom(isOff ? is : told);
  if (isOff) {
    sd_bus_emit_signal(_bus, kPath, kPlayerInterface, "Seeked", "x", MprisCalls::microseconds(is));
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
