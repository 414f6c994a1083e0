#pragma once

#include <cstdint>
#include <vector>

#include "streaming/manifest/ManifestReader.h"

namespace streaming {

/// What is added to what a playlist tells of its segments.
struct HLSAlignment {
  double seconds = 0;                 ///< to their starts
  std::uint64_t discontinuities = 0;  ///< to their discontinuities; modulo 2^64
};

/// A playlist as it was read, with positions from its own beginning.
struct UnalignedPlaylist {
  const std::vector<Segment>& segments;  ///< not empty
  const std::vector<DateMark>& dates;
  double targetDuration = 0;
  bool countsDiscontinuities = false;  ///< it has EXT-X-DISCONTINUITY-SEQUENCE
};

/// Lays a new version of a playlist on the time line of the version before.
HLSAlignment alignedToPrevious(const UnalignedPlaylist& playlist, const MediaPlaylist& previous);
/// The same beside another playlist of the programme.
HLSAlignment alignedBeside(const UnalignedPlaylist& playlist, const MediaPlaylist& other);

/// Puts the last of `earlier` that lies before `position` in front of `dates`, unless a mark there
/// is as early.
void keepEarlierMark(const std::vector<DateMark>& earlier, double position,
                     std::vector<DateMark>& dates);

/// Also of a date before the first mark. `marks` is not empty.
double positionByMarks(platform::Date date, const std::vector<DateMark>& marks);

}  // namespace streaming
