#include "media/pipeline/playback/SilenceGuard.h"

namespace media {
namespace {

/// Without any sign of life from the media for this long, a load or a seek has failed.
constexpr auto kSilenceLimit = std::chrono::seconds(15);

/// When no stream has been found for this long, the demuxers may have given up.
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
