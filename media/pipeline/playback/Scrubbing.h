#pragma once

#include <optional>

#include "media/pipeline/playback/PlaybackParts.h"

namespace media {

/// Reverse playback at high rates, and of media that GStreamer can only play forwards: the player
/// is paused, the position runs here, and a seek shows a key frame five times a second.
///
/// Threads: the pipeline's.
class Scrubbing {
 public:
  explicit Scrubbing(const PlaybackParts& parts)
      : _load(parts.load),
        _wanted(parts.wanted),
        _state(parts.state),
        _player(parts.player),
        _progressTimeout(parts.progressTimeout) {}

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
  platform::TimePoint _soughtAt{};
};

}  // namespace media
