#pragma once

#include <optional>
#include <string_view>

#include "media/output/SubtitleCue.h"

namespace media {

/// Decodes a PNG image with libavcodec into an image whose canvas has its size. Returns nullopt if
/// the bytes are not a PNG image, are broken, or have more than `maxPixels` pixels. The size is
/// checked before anything is allocated.
std::optional<CueImage> decodePng(std::string_view bytes, std::size_t maxPixels);

/// Removes a PNG image from the beginning of `bytes` and returns its bytes; empty if there is none.
std::string_view takePng(std::string_view& bytes);

}  // namespace media
