#include "receivers/upnp/model/Rendering.h"

#include <algorithm>
#include <cmath>

namespace upnp {

namespace {

constexpr int kMaximumVolume = 100;
constexpr std::string_view kMaster = "Master";

}  // namespace

Rendering::Rendering(LastChange& changes) : _changes(changes) {
  _changes.set("PresetNameList", std::string(kFactoryPreset));
  _publish();
}

Failure Rendering::setVolume(int volume) {
  if (volume < 0 || volume > kMaximumVolume) return Error::InvalidArgs;
  _volume = volume;
  _changed();
  return std::nullopt;
}

void Rendering::setMuted(bool isMuted) {
  _isMuted = isMuted;
  _changed();
}

void Rendering::restore(int volume, bool isMuted) {
  _volume = std::clamp(volume, 0, kMaximumVolume);
  _isMuted = isMuted;
  _publish();
}

Failure Rendering::selectPreset(std::string_view name) {
  if (name != kFactoryPreset) return Error::InvalidName;
  setMuted(false);
  return setVolume(kMaximumVolume);
}

void Rendering::noteGain(double gain) {
  if (!std::isfinite(gain)) return;
  _volume = static_cast<int>(std::lround(std::clamp(gain, 0.0, 1.0) * kMaximumVolume));
  _publish();
}

void Rendering::_changed() {
  if (_apply) _apply();
  _publish();
}

void Rendering::_publish() {
  _changes.set("Volume", std::to_string(_volume), kMaster);
  _changes.set("Mute", _isMuted ? "1" : "0", kMaster);
}

}  // namespace upnp
