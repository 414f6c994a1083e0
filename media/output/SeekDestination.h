#pragma once

#include "platform/media/MediaFacts.h"

namespace media {

/// Returns the position that a seek to `seconds` leads to: clamped to the duration, or to the
/// seekable window of a live item.
double seekDestination(double seconds, const platform::MediaFacts& facts);

}  // namespace media
