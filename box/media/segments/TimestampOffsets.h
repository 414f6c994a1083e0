#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <utility>

#include "streaming/manifest/Segment.h"

namespace box {

/// What is added to the time stamps of media to get times of the presentation, where the manifest
/// does not say it (HLS): one offset for each discontinuity, which all tracks share, since their
/// clocks are the same. A track whose clock is another's gets an offset of its own.
///
/// Any thread.
class TimestampOffsets {
 public:
  /// Seconds to add. `track` tells the tracks of a presentation apart; `firstTimestamp` is the
  /// lowest one of `segment`, in seconds as the media have it, without wrap-around.
  double offsetFor(int track, const streaming::Segment& segment, double firstTimestamp);

 private:
  std::mutex _mutex;                                         // guards the rest
  std::map<std::uint64_t, double> _shared;                   // by discontinuity
  std::map<std::pair<int, std::uint64_t>, double> _private;  // by track and discontinuity
};

}  // namespace box
