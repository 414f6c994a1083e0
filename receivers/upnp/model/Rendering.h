#pragma once

#include <functional>
#include <string_view>
#include <utility>

#include "receivers/upnp/model/Errors.h"
#include "receivers/upnp/model/LastChange.h"

namespace upnp {

/// RenderingControl: volume and mute of what the renderer plays. The box applies them to the sound
/// of the session and forgets them with it, so the renderer keeps them for the next one.
class Rendering {
 public:
  explicit Rendering(LastChange& changes);
  /// `apply` passes the volume on to the session that plays, if there is one.
  void setApply(std::function<void()> apply) { _apply = std::move(apply); }

  int volume() const { return _volume; }
  bool isMuted() const { return _isMuted; }
  /// For the box: from 0 to 1.
  double gain() const { return _volume / 100.0; }
  /// `volume` is 0 to 100; other values are invalid arguments.
  Failure setVolume(int volume);
  void setMuted(bool isMuted);
  /// Takes over what an earlier process had set. The box has it already.
  void restore(int volume, bool isMuted);
  Failure selectPreset(std::string_view name);
  /// Another program has changed the volume of the session.
  void noteGain(double gain);

 private:
  void _changed();
  void _publish();

  LastChange& _changes;
  std::function<void()> _apply;
  int _volume = 100;
  bool _isMuted = false;
};

inline constexpr std::string_view kFactoryPreset = "FactoryDefaults";

}  // namespace upnp
