#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/media/MediaFacts.h"
#include "streaming/playback/StreamedItem.h"

namespace media {

/// Fills in what an item knows of its time line and the pipeline does not: dates, loaded ranges,
/// the window of a live presentation, and when there will be enough ahead to play on. `facts` has
/// the duration. The item is open.
///
/// Threads: any.
void addTimeline(const streaming::StreamedItem& item, double position, platform::MediaFacts& facts);

/// The position that media with dates have at `date`. None: the item is not open, null, or has no
/// dates.
std::optional<double> positionOfDate(const streaming::StreamedItem* item, platform::Date date);

/// The parts of a plain resource that are in memory, as shares of its duration.
std::vector<platform::TimeRange> timesOfBytes(const std::vector<streaming::ByteSpan>& loaded,
                                              std::uint64_t size, double duration);

/// Seconds until ten seconds ahead of `position` are loaded, or all up to `end`; 0: they are. None
/// while one of the bitrates (bits a second) is unknown.
std::optional<double> keepUpTime(const std::vector<platform::TimeRange>& loaded, double position,
                                 std::optional<double> end, std::optional<double> mediaBitrate,
                                 std::optional<double> observedBitrate);

}  // namespace media
