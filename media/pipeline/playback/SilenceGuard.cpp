#include "media/pipeline/playback/SilenceGuard.h"

namespace media {
namespace {

/// A load or a seek fails after this time without progress.
constexpr auto kSilenceLimit = std::chrono::seconds(15);

/// Without a stream after this time, a demuxer may have failed silently.
constexpr auto kShortSilence = std::chrono::seconds(2);

}  // namespace

void SilenceGuard::noteProgress() {
  if (!_state.prerolled || _state.seeking) _deadline = _clock.now() + kSilenceLimit;
  if (!_state.prerolled && !_state.knowsStreams) _lookAt = _clock.now() + kShortSilence;
}

void SilenceGuard::clearAll() {
  _deadline.reset();
  _lookAt.reset();
}

}  // namespace media
