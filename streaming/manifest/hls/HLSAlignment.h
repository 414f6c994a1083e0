#pragma once

#include <cstdint>
#include <vector>

#include "streaming/manifest/ManifestReader.h"

namespace streaming {

/// Offsets that align a playlist to a known time line.
struct HLSAlignment {
  double seconds = 0;                 ///< added to the start of each segment
  std::uint64_t discontinuities = 0;  ///< added to each discontinuity sequence number, modulo 2^64
};

/// A parsed playlist whose first segment starts at position 0.
struct UnalignedPlaylist {
  const std::vector<Segment>& segments;  ///< not empty
  const std::vector<DateMark>& dates;
  double targetDuration = 0;
  bool countsDiscontinuities = false;  ///< it has EXT-X-DISCONTINUITY-SEQUENCE
};

HLSAlignment alignedToPrevious(const UnalignedPlaylist& playlist, const MediaPlaylist& previous);
HLSAlignment alignedToSibling(const UnalignedPlaylist& playlist, const MediaPlaylist& other);

/// Inserts the last mark of `earlier` before `position` at the front of `dates`, unless `dates`
/// already covers `position`.
void prependMark(const std::vector<DateMark>& earlier, double position,
                 std::vector<DateMark>& dates);

/// Also extrapolates before the first mark. `marks` is not empty.
double positionByMarks(platform::Date date, const std::vector<DateMark>& marks);

}  // namespace streaming
