#pragma once

#include <optional>
#include <string>

#include "platform/foundation/MediaTime.h"
#include "platform/foundation/Value.h"

namespace platform {

/// Metadata with a position on the timeline.
struct TimedMetadataItem {
  Value key;
  std::optional<std::string> keySpace;
  std::optional<std::string> localeIdentifier;
  std::optional<MediaTime> time;
  Value value;
  Dictionary extraAttributes;
  friend bool operator==(const TimedMetadataItem&, const TimedMetadataItem&) = default;
};

}  // namespace platform
