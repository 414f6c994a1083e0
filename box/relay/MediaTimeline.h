#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "box/relay/SegmentRule.h"
#include "platform/foundation/Date.h"
#include "platform/media/MediaFacts.h"

namespace box {

inline constexpr std::string_view kKeySpaceEvents = "iso.emsg";
inline constexpr std::string_view kKeySpaceDateRanges = "hls.daterange";
/// Of an event: what names it among those of its key, and its seconds where they are known.
inline constexpr std::string_view kEventIdentifier = "identifier";
inline constexpr std::string_view kEventDuration = "duration";

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
  /// What a playlist says is to happen.
  struct Event {
    double position = 0;
    platform::TimedMetadataItem item;  ///< without its time
  };
  static constexpr std::size_t kMostEvents = 1000;

  bool live = false;
  double targetDuration = 0;
  std::uint64_t mediaSequence = 0;  ///< the number of the first segment
  /// Those of the newest playlist; of a playlist that names tens of thousands, the last of them.
  std::vector<Segment> segments;
  /// The same of a manifest.
  std::vector<SegmentRule> rules;
  std::vector<DateMark> dates;  ///< in the order of their positions
  std::vector<Event> events;

  /// The date at `position`: of the mark before it, or counted back from the first one.
  std::optional<platform::Date> dateAt(double position) const;
  /// The inverse, clamped to the segments that there are.
  std::optional<double> positionOf(platform::Date date) const;
};

}  // namespace box
