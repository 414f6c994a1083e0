#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Value.h"
#include "platform/media/MediaFacts.h"
#include "streaming/playback/StreamedItem.h"

namespace media {

/// What only the pipeline knows of how a load is going.
struct PlaybackStatistics {
  std::optional<double> startupSeconds;  ///< load to ready
  double watchedSeconds = 0;             ///< during which time ran
  std::uint64_t stallCount = 0;
  std::uint64_t droppedFrameCount = 0;
};

struct AccessLogInput {
  std::string url;
  platform::Date loadedAt;
  platform::Date now;
  /// At the end of each leg of `item`, and now.
  std::vector<PlaybackStatistics> playback;
  const streaming::StreamedItem* item = nullptr;  ///< null for a file
};

/// The entries of a load in the access log, the oldest first: one for each server and variant that
/// its media have come from.
platform::Array accessLogEntries(const AccessLogInput& input, const platform::MediaFacts& facts);

}  // namespace media
