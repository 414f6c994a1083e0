#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"

namespace box {

/// What playlists tell of an item's time line, kept over the reloads of a live one.
///
/// Seconds count from the first segment of the first playlist that was seen, as the engine's own
/// stream time does.
struct MediaTimeline {
  struct Segment {
    double start = 0;
    double duration = 0;
    std::string url;  ///< absolute, as fetched
    std::uint64_t byteOffset = 0;
    std::optional<std::uint64_t> byteLength;  ///< none: the whole resource
  };
  /// Where the media say what time it was.
  struct DateMark {
    double position = 0;
    platform::Date date;
    bool discontinuity = false;  ///< dates before it do not continue over it
  };
  bool live = false;
  double targetDuration = 0;
  std::uint64_t mediaSequence = 0;  ///< the number of the first segment
  /// Those of the newest playlist; of a playlist that names tens of thousands, the last of them.
  std::vector<Segment> segments;
  std::vector<DateMark> dates;  ///< in the order of their positions

  /// The date at `position`: of the mark before it, or counted back from the first one.
  std::optional<platform::Date> dateAt(double position) const;
  /// The inverse, clamped to the segments that there are.
  std::optional<double> positionOf(platform::Date date) const;
};

}  // namespace box
