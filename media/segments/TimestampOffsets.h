#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "streaming/manifest/Segment.h"

namespace media {

/// What is added to the time stamps of media to get times of the presentation, where the manifest
/// does not say it (HLS): one offset for each discontinuity, which all tracks share, since their
/// clocks are the same. A track whose clock is another's gets an offset of its own.
///
/// Bounded: the offsets of the newest discontinuities are kept. Any thread.
class TimestampOffsets {
 public:
  /// A number that tells a track from the others.
  int addTrack();
  /// Seconds to add. `track` tells the tracks of a presentation apart; `firstTimestamp` is the
  /// lowest one of `segment`, in seconds as the media have it, without wrap-around.
  double offsetFor(int track, const streaming::Segment& segment, double firstTimestamp);
  /// The offset that holds for the track in the discontinuity of `segment`. None: offsetFor() was
  /// not called for it yet.
  std::optional<double> known(int track, const streaming::Segment& segment) const;

 private:
  mutable std::mutex _mutex;  // guards the rest
  int _trackCount = 0;
  std::map<std::uint64_t, double> _shared;                   // by discontinuity
  std::map<std::pair<std::uint64_t, int>, double> _private;  // by discontinuity and track
};

}  // namespace media
