#include "streaming/timeline/TimeRanges.h"

#include <algorithm>

namespace streaming {

using platform::TimeRange;

std::vector<TimeRange> unionOf(std::vector<TimeRange> ranges) {
  std::sort(ranges.begin(), ranges.end(),
            [](const TimeRange& a, const TimeRange& b) { return a.start < b.start; });
  std::vector<TimeRange> result;
  for (const TimeRange& each : ranges) {
    if (each.duration <= 0) continue;
    if (!result.empty()) {
      TimeRange& last = result.back();
      if (each.start <= last.start + last.duration + kMinGap) {
        last.duration = std::max(last.duration, each.start + each.duration - last.start);
        continue;
      }
    }
    result.push_back(each);
  }
  return result;
}

std::vector<TimeRange> intersectionOf(const std::vector<TimeRange>& a,
                                      const std::vector<TimeRange>& b) {
  std::vector<TimeRange> result;
  auto one = a.begin();
  auto other = b.begin();
  while (one != a.end() && other != b.end()) {
    const double oneEnd = one->start + one->duration;
    const double otherEnd = other->start + other->duration;
    const double start = std::max(one->start, other->start);
    const double end = std::min(oneEnd, otherEnd);
    if (end > start) result.push_back({start, end - start});
    if (oneEnd < otherEnd)
      ++one;
    else
      ++other;
  }
  return result;
}

}  // namespace streaming
