#include "box/relay/HLSTimeline.h"

#include <algorithm>
#include <charconv>

#include "box/relay/HLSAttributes.h"
#include "box/relay/PlaylistLimits.h"
#include "box/relay/TimeText.h"

namespace box {
namespace {

/// A segment of more than a day is a mistake, and sums of such would lose their fractions.
constexpr double longestDuration = 86400;
constexpr std::size_t kMostDateRangeBytes = std::size_t{256} * 1024;

std::optional<std::uint64_t> integerFrom(std::string_view text) {
  std::uint64_t value = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
  if (parsed.ec != std::errc{} || parsed.ptr != text.data() + text.size()) return {};
  return value;
}

double secondsFrom(std::string_view text) {
  return std::clamp(numberFrom(text).value_or(0), 0.0, longestDuration);
}

std::string_view attribute(std::string_view list, std::string_view name) {
  const auto at = list.find(name);
  if (at == list.npos) return {};
  list.remove_prefix(at + name.size());
  return list.substr(0, list.find(','));
}

double endOf(const MediaTimeline& timeline) {
  return timeline.segments.back().start + timeline.segments.back().duration;
}

/// The segment of `timeline` that has this number.
const MediaTimeline::Segment* numbered(const MediaTimeline& timeline, std::uint64_t number) {
  if (number < timeline.mediaSequence) return nullptr;
  const std::uint64_t index = number - timeline.mediaSequence;
  if (index >= timeline.segments.size()) return nullptr;
  return &timeline.segments[static_cast<std::size_t>(index)];
}

/// Also of a date outside of what is to be had.
double positionOf(platform::Date date, const std::vector<MediaTimeline::DateMark>& marks) {
  const auto after = std::find_if(marks.begin(), marks.end(), [&](const auto& mark) {
    return mark.date.secondsSince1970 > date.secondsSince1970;
  });
  const auto& mark = after == marks.begin() ? *after : *std::prev(after);
  return mark.position + date.secondsSince1970 - mark.date.secondsSince1970;
}

std::optional<double> offsetByDates(const MediaTimeline& next, const MediaTimeline& known) {
  if (next.dates.empty() || known.dates.empty()) return {};
  const auto& mark = next.dates.front();
  const auto& reference = known.dates.back();
  return reference.position + mark.date.secondsSince1970 - reference.date.secondsSince1970 -
         mark.position;
}

/// What to add to the positions of `next` when it comes after `previous` of the same playlist.
double offsetAfter(const MediaTimeline& next, const MediaTimeline& previous) {
  const auto& first = next.segments.front();
  if (const auto* same = numbered(previous, next.mediaSequence)) return same->start - first.start;
  if (const auto offset = offsetByDates(next, previous)) return *offset;
  if (next.mediaSequence < previous.mediaSequence) return 0;
  const auto missed = next.mediaSequence - previous.mediaSequence - previous.segments.size();
  return endOf(previous) + static_cast<double>(missed) * previous.targetDuration - first.start;
}

/// The same for another playlist of a programme, which may number its segments as it likes.
double offsetBeside(const MediaTimeline& next, const MediaTimeline& other) {
  if (const auto offset = offsetByDates(next, other)) return *offset;
  if (const auto* same = numbered(other, next.mediaSequence))
    return same->start - next.segments.front().start;
  return endOf(other) - endOf(next);
}

}  // namespace

void HLSTimeline::addTag(std::string_view name, std::string_view value) {
  if (name == "EXTINF") {
    _media = true;
    _duration = secondsFrom(value.substr(0, value.find(',')));
  } else if (name == "EXT-X-TARGETDURATION") {
    _media = true;
    _timeline.targetDuration = secondsFrom(value);
  } else if (name == "EXT-X-MEDIA-SEQUENCE") {
    _timeline.mediaSequence = integerFrom(value).value_or(0);
  } else if (name == "EXT-X-SKIP") {
    _timeline.mediaSequence += integerFrom(attribute(value, "SKIPPED-SEGMENTS=")).value_or(0);
  } else if (name == "EXT-X-BYTERANGE") {
    _byteRange = value;
  } else if (name == "EXT-X-DISCONTINUITY") {
    _discontinuity = true;
  } else if (name == "EXT-X-PROGRAM-DATE-TIME") {
    _date = dateFrom(value);
  } else if (name == "EXT-X-DATERANGE") {
    _addDateRange(value);
  } else if (name == "EXT-X-ENDLIST") {
    _ended = true;
  } else if (name == "EXT-X-PLAYLIST-TYPE") {
    _onDemand = value == "VOD";
  }
}

void HLSTimeline::addSegment(std::string url) {
  MediaTimeline::Segment segment;
  segment.start = _end;
  segment.duration = _duration;
  segment.url = std::move(url);
  if (!_byteRange.empty()) _addByteRange(_byteRange, segment);
  if (_date)
    _timeline.dates.push_back({.position = _end, .date = *_date, .discontinuity = _discontinuity});
  // A discontinuity without a date holds until the next date is given.
  _discontinuity = _discontinuity && !_date;
  _end += _duration;
  _urlBytes += segment.url.size();
  _timeline.segments.push_back(std::move(segment));
  _makeRoom();

  _duration = 0;
  _byteRange.clear();
  _date.reset();
}

void HLSTimeline::_addByteRange(std::string_view value, MediaTimeline::Segment& segment) {
  const auto at = value.find('@');
  const auto length = integerFrom(value.substr(0, at));
  if (!length) return;
  segment.byteLength = length;
  if (at != value.npos) {
    segment.byteOffset = integerFrom(value.substr(at + 1)).value_or(0);
  } else if (!_timeline.segments.empty()) {
    const MediaTimeline::Segment& before = _timeline.segments.back();
    if (before.url == segment.url && before.byteLength)
      segment.byteOffset = before.byteOffset + *before.byteLength;
  }
}

void HLSTimeline::_addDateRange(std::string_view value) {
  _dateRangeBytes += value.size();
  if (_dateRanges.size() == MediaTimeline::kMostEvents || _dateRangeBytes > kMostDateRangeBytes)
    return;
  std::optional<platform::Date> start;
  platform::TimedMetadataItem item;
  platform::Dictionary details;
  for (const auto& [name, text] : attributesOf(value)) {
    if (name == "START-DATE")
      start = dateFrom(text);
    else if (name == "ID")
      item.extraAttributes.set(kEventIdentifier, std::string(text));
    else if (name == "CLASS")
      item.key = std::string(text);
    else if (name == "DURATION")
      item.extraAttributes.set(kEventDuration, secondsFrom(text));
    else if (name.starts_with("X-") || name.starts_with("SCTE35-"))
      details.set(name, std::string(text));
  }
  if (!start) return;
  if (!item.key.asString()) item.key = std::string(kKeySpaceDateRanges);
  item.keySpace = std::string(kKeySpaceDateRanges);
  item.value = std::move(details);
  _dateRanges.push_back({*start, std::move(item)});
}

/// The last ones matter most: those of a live playlist are at its end.
void HLSTimeline::_makeRoom() {
  auto& segments = _timeline.segments;
  if (segments.size() <= maxTimelineSegments && _urlBytes <= maxTimelineURLBytes) return;
  const auto half = segments.begin() + static_cast<std::ptrdiff_t>((segments.size() + 1) / 2);
  for (auto segment = segments.begin(); segment != half; ++segment)
    _urlBytes -= segment->url.size();
  _timeline.mediaSequence += static_cast<std::uint64_t>(half - segments.begin());
  segments.erase(segments.begin(), half);
  if (segments.empty()) return;

  auto& dates = _timeline.dates;
  const double first = segments.front().start;
  const auto kept = std::find_if(dates.begin(), dates.end(),
                                 [&](const auto& mark) { return mark.position > first; });
  if (kept != dates.begin()) dates.erase(dates.begin(), std::prev(kept));
}

std::shared_ptr<const MediaTimeline> HLSTimeline::timeline(const MediaTimeline* previous,
                                                           const MediaTimeline* other) const {
  if (!_media) return nullptr;
  auto result = std::make_shared<MediaTimeline>(_timeline);
  result->live = !_ended && !_onDemand;
  const MediaTimeline* const known = previous ? previous : other;
  if (known && !known->segments.empty() && !result->segments.empty())
    _follow(*known, previous != nullptr, *result);
  if (result->dates.empty()) return result;
  for (const DateRange& each : _dateRanges) {
    const double position = positionOf(each.start, result->dates);
    if (position >= 0) result->events.push_back({position, each.item});
  }
  return result;
}

void HLSTimeline::_follow(const MediaTimeline& known, bool isPrevious, MediaTimeline& result) {
  const double offset = isPrevious ? offsetAfter(result, known) : offsetBeside(result, known);
  for (auto& segment : result.segments) segment.start += offset;
  for (auto& mark : result.dates) mark.position += offset;

  // The date of the window's beginning may be told by a mark that has slid out of it.
  const double first = result.segments.front().start;
  const bool datedFromTheStart = !result.dates.empty() && result.dates[0].position <= first;
  if (!datedFromTheStart) {
    const auto& old = known.dates;
    const auto after = std::find_if(old.begin(), old.end(),
                                    [&](const auto& mark) { return mark.position > first; });
    if (after != old.begin()) result.dates.insert(result.dates.begin(), *std::prev(after));
  }
}

}  // namespace box
