#pragma once

#include <optional>

#include "media/durations/MediaSpan.h"

namespace media {

/// Measures a fragmented mp4 that does not state its duration, by the first fragment and by the
/// fragments in the last 4 MiB. Returns nullopt for other mp4s, and if no fragment begins there.
std::optional<double> durationOfFragments(const ReadBytes& read, std::uint64_t size);

}  // namespace media
