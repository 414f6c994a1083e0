#pragma once

#include "platform/media/MediaFacts.h"

namespace media {

/// Where a seek to `seconds` ends: within the duration, or within the window of a live item.
double seekDestination(double seconds, const platform::MediaFacts& facts);

}  // namespace media
