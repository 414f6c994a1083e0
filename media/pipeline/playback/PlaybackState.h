#pragma once

#include <optional>

#include <gst/gst.h>

#include "media/durations/MediaSpan.h"

namespace media {

/// Above this rate only key frames are shown, without sound.
constexpr double kTrickRate = 2;

/// The state of a pipeline. Only used on the pipeline's thread.
struct PlaybackState {
  bool knowsStreams = false;  ///< a stream collection was posted
  bool prerolled = false;
  bool ready = false;
  bool usesLibavformat = false;  ///< in place of the demuxers of GStreamer
  GstStreamType leftOut{};       ///< streams of these types have failed
  bool isMeasured = false;
  std::optional<MediaSpan> span;  ///< as measured, if that is necessary and possible
  bool live = false;              ///< reported by GStreamer
  bool failed = false;
  bool closing = false;

  double rate = 1;             ///< of the last seek
  std::optional<double> stop;  ///< of the last seek
  bool seeking = false;
  bool scrubbing = false;
  bool timeRuns = false;
  bool atEnd = false;
  bool buffering = false;  ///< stalled
  bool waits = false;      ///< the demuxer is waiting for bytes
};

}  // namespace media
