#include "media/pipeline/playback/ProgressTimeout.h"

namespace media {
namespace {

/// A load or a seek fails after this time without progress.
constexpr auto kProgressTimeout = std::chrono::seconds(15);

/// Without a stream after this time, a demuxer may have failed silently.
constexpr auto kFailureCheckDelay = std::chrono::seconds(2);

}  // namespace

void ProgressTimeout::noteProgress() {
  if (!_state.prerolled || _state.seeking) _deadline = _clock.now() + kProgressTimeout;
  if (!_state.prerolled && !_state.knowsStreams)
    _failureCheckAt = _clock.now() + kFailureCheckDelay;
}

void ProgressTimeout::clearAll() {
  _deadline.reset();
  _failureCheckAt.reset();
}

}  // namespace media
