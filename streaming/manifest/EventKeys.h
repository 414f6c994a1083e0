#pragma once

#include <string_view>

namespace streaming {

// How events of manifests and media are told as timed metadata (platform::TimedMetadataItem).

inline constexpr std::string_view kKeySpaceEvents = "iso.emsg";
inline constexpr std::string_view kKeySpaceDateRanges = "hls.daterange";
/// Extra attributes of an event: what identifies it among those of its key, and its duration in
/// seconds where it is known.
inline constexpr std::string_view kEventIdentifier = "identifier";
inline constexpr std::string_view kEventDuration = "duration";

}  // namespace streaming
