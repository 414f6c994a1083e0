#pragma once

#include <optional>

#include "media/pipeline/playback/PlaybackState.h"
#include "platform/foundation/queues/Clock.h"

namespace media {

/// Limits how long a load or a seek may go on without any sign of life from the media.
///
/// Threads: the pipeline's.
class SilenceGuard {
 public:
  SilenceGuard(const platform::Clock& clock, const PlaybackState& state)
      : _clock(clock), _state(state) {}

  /// The media have shown a sign of life. The limit is set only during a load or a seek.
  void noteProgress();
  /// The answer to a selection is to come within `limit`.
  void expect(platform::Duration limit) { _deadline = _clock.now() + limit; }
  /// What was waited for has come.
  void clear() { _deadline.reset(); }
  void clearAll();

  /// When the limit is reached.
  std::optional<platform::TimePoint> deadline() const { return _deadline; }
  /// When to look whether the demuxers have given up. Earlier than the deadline.
  std::optional<platform::TimePoint> lookAt() const { return _lookAt; }
  void clearLook() { _lookAt.reset(); }

 private:
  const platform::Clock& _clock;
  const PlaybackState& _state;
  std::optional<platform::TimePoint> _deadline;
  std::optional<platform::TimePoint> _lookAt;
};

}  // namespace media
