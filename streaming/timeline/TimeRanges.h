#pragma once

#include <vector>

#include "platform/media/MediaFacts.h"

namespace streaming {

/// Holes that a player does not notice, in seconds.
inline constexpr double kSmallestHole = 0.1;

/// In order and apart from each other.
std::vector<platform::TimeRange> unionOf(std::vector<platform::TimeRange> ranges);
/// What is in both; each is in order and apart.
std::vector<platform::TimeRange> intersectionOf(const std::vector<platform::TimeRange>& a,
                                                const std::vector<platform::TimeRange>& b);

}  // namespace streaming
