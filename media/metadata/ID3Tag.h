#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "media/metadata/MetadataTimeline.h"

namespace media {

inline constexpr std::string_view kKeySpaceID3 = "org.id3";
/// An extra attribute of a value: the description of a user text, or the owner of private data.
inline constexpr std::string_view kMetadataInfo = "info";

/// Returns the frames of an ID3 tag (versions 2.3 and 2.4) by their ids, texts as strings and
/// anything else as data. Returns no items if `bytes` is not a tag. Reading ends at a broken frame.
MetadataTimeline::Items itemsOfID3Tag(std::span<const std::uint8_t> bytes);

}  // namespace media
