#pragma once

#include <optional>

#include "media/durations/MediaSpan.h"

namespace media {

/// Measures Matroska and WebM that do not state their duration, as recorders and browsers write
/// them, by the clusters in the last 4 MiB. Returns nullopt for other files, and if no cluster
/// begins there.
std::optional<double> durationOfMatroska(const ReadBytes& read, std::uint64_t size);

}  // namespace media
