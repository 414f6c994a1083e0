#pragma once

#include <vector>

#include "streaming/manifest/ManifestReader.h"

namespace streaming {

/// What to add to the positions of a playlist's segments, which count from its own beginning, so
/// that they lie on the time line of `known`: an older version of the same playlist, or another one
/// of the same programme. `segments` is not empty.
double alignmentOffset(const std::vector<Segment>& segments, const std::vector<DateMark>& dates,
                       const MediaPlaylist& known, bool isSamePlaylist);

/// Puts the last of `earlier` that lies before `position` in front of `dates`, unless a mark there
/// is as early.
void keepEarlierMark(const std::vector<DateMark>& earlier, double position,
                     std::vector<DateMark>& dates);

/// Also of a date before the first mark. `marks` is not empty.
double positionByMarks(platform::Date date, const std::vector<DateMark>& marks);

}  // namespace streaming
