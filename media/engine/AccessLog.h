#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Dictionary.h"
#include "platform/media/MediaFacts.h"
#include "streaming/playback/StreamedItem.h"

namespace media {

/// Statistics of a load that the pipeline collects.
struct PlaybackStatistics {
  std::optional<double> startupSeconds;  ///< from load to ready
  double watchedSeconds = 0;             ///< playing time
  std::uint64_t stallCount = 0;
  std::uint64_t droppedFrameCount = 0;
};

struct AccessLogInput {
  std::string url;
  platform::Date loadedAt;
  platform::Date now;
  /// The statistics at the end of each access log entry of `item`, and the current ones.
  std::vector<PlaybackStatistics> playback;
  const streaming::StreamedItem* item = nullptr;  ///< null for a plain file
};

/// Returns the entries of the access log, the oldest first: one for each server and variant that
/// media were loaded from.
platform::Array accessLogEntries(const AccessLogInput& input, const platform::MediaFacts& facts);

}  // namespace media
