#pragma once

#include <vector>

#include "platform/media/TimeRange.h"

namespace streaming {

/// Shorter gaps, in seconds, are closed.
inline constexpr double kMinGap = 0.1;

/// Merges ranges. The result is sorted and does not overlap.
std::vector<platform::TimeRange> unionOf(std::vector<platform::TimeRange> ranges);
/// Both arguments are sorted and do not overlap.
std::vector<platform::TimeRange> intersectionOf(const std::vector<platform::TimeRange>& a,
                                                const std::vector<platform::TimeRange>& b);

}  // namespace streaming
