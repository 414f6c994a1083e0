#pragma once

#include <optional>

#include "media/pipeline/playback/PlaybackState.h"
#include "platform/foundation/queues/Clock.h"

namespace media {

/// A time-out for loads and seeks, restarted by each sign of progress.
///
/// Threads: the pipeline's.
class ProgressTimeout {
 public:
  ProgressTimeout(const platform::Clock& clock, const PlaybackState& state)
      : _clock(clock), _state(state) {}

  /// Restarts the time-out. It only runs during a load or a seek.
  void noteProgress();
  /// Sets a time-out for the result of a selection.
  void expect(platform::Duration limit) { _deadline = _clock.now() + limit; }
  void clear() { _deadline.reset(); }
  void clearAll();

  std::optional<platform::TimePoint> deadline() const { return _deadline; }
  /// When to check whether a demuxer has failed silently. Earlier than the deadline.
  std::optional<platform::TimePoint> failureCheckAt() const { return _failureCheckAt; }
  void clearFailureCheck() { _failureCheckAt.reset(); }

 private:
  const platform::Clock& _clock;
  const PlaybackState& _state;
  std::optional<platform::TimePoint> _deadline;
  std::optional<platform::TimePoint> _failureCheckAt;
};

}  // namespace media
