#include "streaming/timeline/Dates.h"

#include <algorithm>
#include <iterator>

namespace streaming {

std::optional<platform::Date> dateAt(const std::vector<DateMark>& marks, double position) {
  if (marks.empty()) return std::nullopt;
  const auto next =
      std::upper_bound(marks.begin(), marks.end(), position,
                       [](double wanted, const DateMark& mark) { return wanted < mark.position; });
  if (next == marks.begin() && next->isDiscontinuous) return std::nullopt;
  const DateMark& mark = next == marks.begin() ? *next : *std::prev(next);
  return platform::Date{mark.date.secondsSince1970 + position - mark.position};
}

std::optional<double> positionOf(const std::vector<DateMark>& marks, platform::Date date) {
  if (marks.empty()) return std::nullopt;
  double position = 0;
  for (auto mark = marks.begin(); mark != marks.end(); ++mark) {
    const double offset = date.secondsSince1970 - mark->date.secondsSince1970;
    if (offset < 0) {
      const bool counts = mark == marks.begin() && !mark->isDiscontinuous;
      return mark->position + (counts ? offset : 0);
    }
    position = mark->position + offset;
    const auto next = std::next(mark);
    if (next == marks.end() || position < next->position) return position;
    position = next->position;
  }
  return position;
}

}  // namespace streaming
