#include "box/relay/MediaTimeline.h"

#include <algorithm>

namespace box {

std::optional<platform::Date> MediaTimeline::dateAt(double position) const {
  if (dates.empty()) return {};
  const auto next =
      std::upper_bound(dates.begin(), dates.end(), position,
                       [](double wanted, const DateMark& mark) { return wanted < mark.position; });
  if (next == dates.begin() && next->discontinuity && position < next->position) return {};
  const DateMark& mark = next == dates.begin() ? *next : *std::prev(next);
  return platform::Date{mark.date.secondsSince1970 + position - mark.position};
}

std::optional<double> MediaTimeline::positionOf(platform::Date date) const {
  if (dates.empty()) return {};
  double position = 0;
  for (auto mark = dates.begin(); mark != dates.end(); ++mark) {
    const double offset = date.secondsSince1970 - mark->date.secondsSince1970;
    if (offset < 0) {
      // Between two marks that do not meet, the next thing that there is.
      const bool counts = mark == dates.begin() && !mark->discontinuity;
      position = mark->position + (counts ? offset : 0);
      break;
    }
    position = mark->position + offset;
    const auto next = std::next(mark);
    if (next == dates.end() || position < next->position) break;
    position = next->position;
  }
  if (segments.empty()) return position;
  const Segment& last = segments.back();
  return std::clamp(position, segments.front().start, last.start + last.duration);
}

}  // namespace box
