#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/media/MediaFacts.h"
#include "streaming/playback/StreamedItem.h"

namespace media {

/// Adds the facts about the time line that the item provides: dates, loaded ranges, the seekable
/// window of a live presentation, and when playback is likely to keep up. `facts` has to have the
/// duration; `item` has to be open.
///
/// Threads: any.
void addTimeline(const streaming::StreamedItem& item, double position, platform::MediaFacts& facts);

/// Returns the position of `date`, or nullopt if the item is null, is not open, or has no dates.
std::optional<double> positionOfDate(const streaming::StreamedItem* item, platform::Date date);

/// Converts loaded byte ranges of a plain resource to time ranges, in proportion to its duration.
std::vector<platform::TimeRange> timeRangesOf(const std::vector<streaming::ByteSpan>& loaded,
                                              std::uint64_t size, double duration);

/// Returns the seconds until ten seconds after `position`, or everything up to `end`, are loaded;
/// 0: they are. Returns nullopt while a bitrate (bits per second) is unknown.
std::optional<double> secondsUntilLikelyToKeepUp(const std::vector<platform::TimeRange>& loaded,
                                                 double position, std::optional<double> end,
                                                 std::optional<double> mediaBitrate,
                                                 std::optional<double> observedBitrate);

}  // namespace media
