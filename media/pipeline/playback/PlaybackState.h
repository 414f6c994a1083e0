#pragma once

#include <optional>

namespace media {

/// At a higher speed only key frames are shown, and there is no sound.
constexpr double kTrickRate = 2;

/// The state of a pipeline. Belongs to the pipeline's thread.
struct PlaybackState {
  bool knowsStreams = false;  ///< a stream collection has come
  bool prerolled = false;
  bool ready = false;
  bool live = false;  ///< as the library says
  bool failed = false;
  bool closing = false;

  double rate = 1;             ///< of the last seek
  std::optional<double> stop;  ///< of the last seek
  bool seeking = false;
  bool scrubbing = false;
  bool timeRuns = false;
  bool atEnd = false;
  bool buffering = false;  ///< stalled
  bool waits = false;      ///< the demuxer waits for bytes
};

}  // namespace media
