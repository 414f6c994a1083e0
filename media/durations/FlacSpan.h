#pragma once

#include <optional>

#include "media/durations/MediaSpan.h"

namespace media {

/// Measures a FLAC file that does not state its number of samples, by the number of its last frame
/// (RFC 9639). `offset` is that of the marker "fLaC". Returns nullopt for other files.
std::optional<double> durationOfFlac(const ReadBytes& read, std::uint64_t offset,
                                     std::uint64_t size);

}  // namespace media
