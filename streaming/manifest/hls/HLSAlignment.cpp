#include "streaming/manifest/hls/HLSAlignment.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string_view>

#include "streaming/manifest/hls/HLSSegmentIndex.h"

namespace streaming {
namespace {

/// If more time than this is missing between two versions, the numbering was restarted.
constexpr double kMaxMissedSeconds = 86400;
/// Maximum difference of the dates of one segment in two versions.
constexpr double kMaxDateChange = 60;

std::optional<double> offsetByDates(const std::vector<DateMark>& dates,
                                    const std::vector<DateMark>& known) {
  if (dates.empty() || known.empty()) return std::nullopt;
  const DateMark& mark = dates.front();
  return positionByMarks(mark.date, known) - mark.position;
}

/// Aligns two playlists at a discontinuity that both contain.
std::optional<double> offsetByDiscontinuity(const UnalignedPlaylist& playlist,
                                            const HLSSegmentIndex& known) {
  if (!playlist.countsDiscontinuities) return std::nullopt;
  using Pair = std::pair<std::uint64_t, std::uint64_t>;
  std::map<Pair, double> starts;
  const auto& others = known.segments();
  for (std::size_t at = 1; at < others.size(); ++at) {
    if (others[at].discontinuity != others[at - 1].discontinuity)
      starts.try_emplace({others[at - 1].discontinuity, others[at].discontinuity},
                         others[at].start);
  }
  const auto& segments = playlist.segments;
  for (std::size_t at = 1; at < segments.size() && !starts.empty(); ++at) {
    if (segments[at].discontinuity == segments[at - 1].discontinuity) continue;
    const auto found = starts.find({segments[at - 1].discontinuity + known.discontinuityShift(),
                                    segments[at].discontinuity + known.discontinuityShift()});
    if (found != starts.end()) return found->second - segments[at].start;
  }
  return std::nullopt;
}

std::string_view withoutQuery(const Segment& segment) {
  if (segment.resource.urls.empty()) return {};
  const std::string_view url = segment.resource.urls.front();
  return url.substr(0, url.find('?'));
}

/// Segments with equal numbers are the same segment. `isBackwards`: the new version starts before
/// the known one. Then it is outdated, or its numbering was restarted, and URLs are compared too.
bool isSameSegment(const Segment& segment, const Segment& known, bool isBackwards) {
  if (segment.date && known.date) {
    const double change = segment.date->secondsSince1970 - known.date->secondsSince1970;
    return std::abs(change) < kMaxDateChange;
  }
  return !isBackwards || (withoutQuery(segment) == withoutQuery(known) &&
                          segment.resource.span == known.resource.span);
}

}  // namespace

HLSAlignment alignedToPrevious(const UnalignedPlaylist& playlist, const MediaPlaylist& previous) {
  const auto index = std::dynamic_pointer_cast<const HLSSegmentIndex>(previous.segments);
  if (!index || index->segments().empty()) return {};
  const auto& segments = playlist.segments;
  const auto& others = index->segments();
  const Segment& first = segments.front();
  const Segment& last = others.back();
  const bool isBackwards = first.number < others.front().number;
  const std::uint64_t common = std::max(first.number, others.front().number);
  const Segment* const known = index->numbered(common);
  if (known && common - first.number < segments.size()) {
    const Segment& same = segments[static_cast<std::size_t>(common - first.number)];
    if (isSameSegment(same, *known, isBackwards))
      return {known->start - same.start, known->discontinuity - same.discontinuity};
  }
  const double end = index->last({}).value_or(last).end() - first.start;  // including parts
  const auto byDates = offsetByDates(playlist.dates, previous.dates);
  const double missed = first.number > last.number
                            ? static_cast<double>(first.number - last.number - 1) *
                                  std::max(previous.targetDuration, playlist.targetDuration)
                            : 0;
  if (first.number > last.number && missed <= kMaxMissedSeconds) {
    // Segments were missed. Without EXT-X-DISCONTINUITY-SEQUENCE a discontinuity among them is
    // assumed.
    const bool isAhead = byDates && *byDates >= last.end() - first.start - playlist.targetDuration;
    return {isAhead ? *byDates : last.end() + missed - first.start,
            playlist.countsDiscontinuities ? index->discontinuityShift()
                                           : last.discontinuity + 1 - first.discontinuity};
  }
  // The numbering was restarted. Append the playlist and assume a discontinuity.
  const bool isNear = byDates && *byDates >= end && *byDates <= end + kMaxMissedSeconds;
  return {isNear ? *byDates : end, last.discontinuity + 1 - first.discontinuity};
}

HLSAlignment alignedToSibling(const UnalignedPlaylist& playlist, const MediaPlaylist& other) {
  const auto index = std::dynamic_pointer_cast<const HLSSegmentIndex>(other.segments);
  if (!index || index->segments().empty()) return {};
  const auto& segments = playlist.segments;
  const Segment& first = segments.front();
  HLSAlignment result;
  result.discontinuities = index->discontinuityShift();
  if (const auto offset = offsetByDates(playlist.dates, other.dates))
    result.seconds = *offset;
  else if (const auto byDiscontinuity = offsetByDiscontinuity(playlist, *index))
    result.seconds = *byDiscontinuity;
  else if (const Segment* const same = index->numbered(first.number))
    result.seconds = same->start - first.start;
  else
    result.seconds = index->segments().back().end() - segments.back().end();
  if (!playlist.countsDiscontinuities) {
    const auto meanwhile = index->at(first.start + result.seconds + first.duration / 2);
    if (meanwhile) result.discontinuities = meanwhile->discontinuity - first.discontinuity;
  }
  return result;
}

void prependMark(const std::vector<DateMark>& earlier, double position,
                 std::vector<DateMark>& dates) {
  if (!dates.empty() && dates.front().position <= position) return;
  const auto after = std::find_if(earlier.begin(), earlier.end(),
                                  [&](const DateMark& mark) { return mark.position > position; });
  if (after != earlier.begin()) dates.insert(dates.begin(), *std::prev(after));
}

double positionByMarks(platform::Date date, const std::vector<DateMark>& marks) {
  const auto after = std::find_if(marks.begin(), marks.end(), [&](const DateMark& mark) {
    return mark.date.secondsSince1970 > date.secondsSince1970;
  });
  const DateMark& mark = after == marks.begin() ? *after : *std::prev(after);
  return mark.position + date.secondsSince1970 - mark.date.secondsSince1970;
}

}  // namespace streaming
