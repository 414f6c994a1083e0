#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "media/metadata/MetadataTimeline.h"

namespace media {

inline constexpr std::string_view kKeySpaceID3 = "org.id3";
/// What a frame says of its value: the description of a user text, the owner of private data.
inline constexpr std::string_view kMetadataInfo = "info";

/// The frames of an ID3 tag (versions 2.3 and 2.4) by their names, texts as strings and everything
/// else as data; none for what is no such tag. Damaged frames end it.
MetadataTimeline::Items itemsOfID3Tag(std::span<const std::uint8_t> bytes);

}  // namespace media
