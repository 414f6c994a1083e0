#pragma once

#include <optional>

#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "media/pipeline/playback/Player.h"
#include "media/pipeline/playback/ProgressTimeout.h"
#include "media/pipeline/playback/WantedPlayback.h"

namespace media {

/// Reverse playback of media that GStreamer can only play forwards, such as media over HTTP: the
/// player is paused, the position runs here, and a seek shows a key frame a few times a second.
///
/// Threads: the pipeline's.
class Scrubbing {
 public:
  Scrubbing(LoadContext& load, const WantedPlayback& wanted, PlaybackState& state, Player& player,
            ProgressTimeout& progressTimeout)
      : _load(load),
        _wanted(wanted),
        _state(state),
        _player(player),
        _progressTimeout(progressTimeout) {}

  /// Returns false if the media are not seekable.
  bool begin(double destination);
  void end();
  /// Begins a seek. Returns false if the player rejects it.
  bool seekTo(double seconds);
  /// Runs the position and schedules the next step.
  void run();
  void pause();
  /// When to show the next key frame.
  std::optional<platform::TimePoint> stepAt() const { return _stepAt; }
  void postponeStep();
  void cancelStep() { _stepAt.reset(); }
  /// Where reverse playback ends.
  double limit() const { return _wanted.reverseEnd.value_or(0); }

 private:
  LoadContext& _load;
  const WantedPlayback& _wanted;
  PlaybackState& _state;
  Player& _player;
  ProgressTimeout& _progressTimeout;
  std::optional<platform::TimePoint> _stepAt;
};

}  // namespace media
