#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "box/relay/RelayItem.h"
#include "platform/foundation/Date.h"
#include "platform/media/MediaFacts.h"

namespace box {

/// What only the pipeline knows of how a load is going.
struct PlaybackStatistics {
  std::optional<double> startupSeconds;  ///< load to ready
  double watchedSeconds = 0;             ///< during which time ran
  std::uint64_t stallCount = 0;
  std::uint64_t droppedFrameCount = 0;
  std::uint64_t switchCount = 0;           ///< of the variant
  std::optional<double> indicatedBitrate;  ///< of the variant, bits a second
};

/// The entry of a load in the access log. `relayed` is null for a file.
platform::Dictionary accessLogEntry(const std::string& url, platform::Date loadedAt,
                                    const PlaybackStatistics& playback, const RelayItem* relayed,
                                    const platform::MediaFacts& facts);

}  // namespace box
