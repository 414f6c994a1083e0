#pragma once

#include <optional>

#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "media/pipeline/playback/Player.h"
#include "media/pipeline/playback/SilenceGuard.h"
#include "media/pipeline/playback/WantedPlayback.h"

namespace media {

/// Plays backwards what the library plays only forwards, such as media that come over HTTP: the
/// player stays paused, time is counted here, and a few times a second a seek shows the key frame
/// of the time.
///
/// Threads: the pipeline's.
class Scrubbing {
 public:
  Scrubbing(LoadContext& load, const WantedPlayback& wanted, PlaybackState& state, Player& player,
            SilenceGuard& silence)
      : _load(load), _wanted(wanted), _state(state), _player(player), _silence(silence) {}

  /// False: the media cannot be sought.
  bool begin(double destination);
  void end();
  /// Begins a seek. False: the player refuses it.
  bool seekTo(double seconds);
  /// Time runs, and a step is due in a while.
  void run();
  void pause();
  /// When the next key frame is to be shown.
  std::optional<platform::TimePoint> stepAt() const { return _stepAt; }
  void postponeStep();
  void cancelStep() { _stepAt.reset(); }
  /// Where it ends.
  double limit() const { return _wanted.reverseEnd.value_or(0); }

 private:
  LoadContext& _load;
  const WantedPlayback& _wanted;
  PlaybackState& _state;
  Player& _player;
  SilenceGuard& _silence;
  std::optional<platform::TimePoint> _stepAt;
};

}  // namespace media
