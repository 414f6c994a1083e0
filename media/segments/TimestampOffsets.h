#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "streaming/manifest/Segment.h"

namespace media {

/// The offsets from media time stamps to presentation times, for manifests that do not have them
/// (HLS). Tracks share one offset for each discontinuity because they share a clock. A track with
/// another clock gets its own offset.
///
/// Limits: offsets of the newest discontinuities are kept.
/// Threads: any.
class TimestampOffsets {
 public:
  /// Returns a number for a new track.
  int addTrack();
  /// Returns the seconds to add. `firstTimestamp` is the lowest unwrapped time stamp of `segment`
  /// in seconds.
  double offsetFor(int track, const streaming::Segment& segment, double firstTimestamp);
  /// Returns the offset of the track in the discontinuity of `segment`, or nullopt before the first
  /// call of offsetFor() for it.
  std::optional<double> known(int track, const streaming::Segment& segment) const;

 private:
  mutable std::mutex _mutex;  // guards the members below
  int _trackCount = 0;
  std::map<std::uint64_t, double> _shared;                   // by discontinuity
  std::map<std::pair<std::uint64_t, int>, double> _private;  // by discontinuity and track
};

}  // namespace media
