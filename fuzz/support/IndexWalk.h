#pragma once

#include "streaming/manifest/Segment.h"

namespace fuzz {

/// Reads segments of an index in all ways that a player does.
void walkIndex(const streaming::SegmentIndex& index);

}  // namespace fuzz
