#include "streaming/manifest/HLSAlignment.h"

#include <algorithm>

#include "streaming/manifest/HLSSegmentIndex.h"

namespace streaming {
namespace {

std::optional<double> offsetByDates(const std::vector<DateMark>& dates,
                                    const std::vector<DateMark>& known) {
  if (dates.empty() || known.empty()) return std::nullopt;
  const DateMark& mark = dates.front();
  return positionByMarks(mark.date, known) - mark.position;
}

/// Where the first segment of a discontinuity begins, as both know it.
std::optional<double> offsetByDiscontinuity(const std::vector<Segment>& segments,
                                            const std::vector<Segment>& known) {
  for (std::size_t at = 1; at < segments.size(); ++at) {
    if (segments[at].discontinuity == segments[at - 1].discontinuity) continue;
    for (std::size_t other = 1; other < known.size(); ++other)
      if (known[other].discontinuity == segments[at].discontinuity &&
          known[other - 1].discontinuity == segments[at - 1].discontinuity)
        return known[other].start - segments[at].start;
  }
  return std::nullopt;
}

}  // namespace

double alignmentOffset(const std::vector<Segment>& segments, const std::vector<DateMark>& dates,
                       const MediaPlaylist& known, bool isSamePlaylist) {
  const auto index = std::dynamic_pointer_cast<const HLSSegmentIndex>(known.segments);
  if (!index || index->segments().empty()) return 0;
  const auto& others = index->segments();
  const Segment& first = segments.front();
  const Segment* const same = index->numbered(first.number);
  if (isSamePlaylist && same) return same->start - first.start;
  if (const auto offset = offsetByDates(dates, known.dates)) return *offset;
  if (!isSamePlaylist) {
    if (const auto offset = offsetByDiscontinuity(segments, others)) return *offset;
    if (same) return same->start - first.start;
    return others.back().end() - segments.back().end();
  }
  // Numbers that begin anew continue behind what was there.
  if (first.number < others.front().number) return others.back().end() - first.start;
  const auto missed = static_cast<double>(first.number - others.back().number - 1);
  return others.back().end() + missed * known.targetDuration - first.start;
}

void keepEarlierMark(const std::vector<DateMark>& earlier, double position,
                     std::vector<DateMark>& dates) {
  if (!dates.empty() && dates.front().position <= position) return;
  const auto after = std::find_if(earlier.begin(), earlier.end(),
                                  [&](const DateMark& mark) { return mark.position > position; });
  if (after != earlier.begin()) dates.insert(dates.begin(), *std::prev(after));
}

double positionByMarks(platform::Date date, const std::vector<DateMark>& marks) {
  const auto after = std::find_if(marks.begin(), marks.end(),
                                  [&](const DateMark& mark) { return mark.date > date; });
  const DateMark& mark = after == marks.begin() ? *after : *std::prev(after);
  return mark.position + date.secondsSince1970 - mark.date.secondsSince1970;
}

}  // namespace streaming
