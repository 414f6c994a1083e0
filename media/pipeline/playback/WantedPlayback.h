#pragma once

#include <optional>

#include "media/pipeline/PipelineSetup.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "platform/foundation/Date.h"

namespace media {

/// The requested state of a pipeline. The pipeline's thread changes the pipeline until it has this
/// state. A request during a seek or a selection waits for its end; a newer request replaces it.
struct WantedPlayback : PlaybackRequest {
  explicit WantedPlayback(const PipelineSetup& setup)
      : PlaybackRequest(setup.request),
        held(setup.held),
        position(setup.startSeconds),
        fraction(setup.startFraction),
        date(setup.startDate) {}

  void set(const PlaybackRequest& request) { static_cast<PlaybackRequest&>(*this) = request; }
  /// The position at which playback ends, in the direction of `rate`.
  std::optional<double> stop() const { return rate > 0 ? forwardEnd : reverseEnd; }

  /// Returns whether a seek is needed to reach the requested state.
  bool needsSeek(const PlaybackState& state) const {
    return position || fraction || date || flush || rate != state.rate || stop() != state.stop;
  }

  bool held;
  // The destination of the next seek: the position, else the fraction.
  std::optional<double> position;
  std::optional<double> fraction;
  std::optional<platform::Date> date;  ///< becomes a position once the time line is known
  bool flush = false;                  ///< a new selection or sink gets data only after a flush
};

}  // namespace media
