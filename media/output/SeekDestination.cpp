#include "media/output/SeekDestination.h"

#include <algorithm>

namespace media {

double seekDestination(double seconds, const platform::MediaFacts& facts) {
  const double destination = std::max(0.0, seconds);
  if (facts.duration > 0) return std::min(destination, facts.duration);
  if (facts.seekable.empty()) return destination;
  const platform::TimeRange& range = facts.seekable.front();
  return std::clamp(destination, range.start, range.start + std::max(0.0, range.duration));
}

}  // namespace media
