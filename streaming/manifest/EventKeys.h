#pragma once

#include <string_view>

namespace streaming {

// Keys of events that are reported as timed metadata (platform::TimedMetadataItem).

inline constexpr std::string_view kKeySpaceEvents = "iso.emsg";
inline constexpr std::string_view kKeySpaceDateRanges = "hls.daterange";
/// Extra attributes of an event: its identifier, and its duration in seconds if known.
inline constexpr std::string_view kEventIdentifier = "identifier";
inline constexpr std::string_view kEventDuration = "duration";

}  // namespace streaming
