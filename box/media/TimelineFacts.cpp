#include "box/media/TimelineFacts.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace box {
namespace {

using platform::TimeRange;

/// As much is to be ahead of the position before playback counts as likely to keep up.
constexpr double secondsAhead = 10;
/// Of durations that a playlist rounds.
constexpr double tolerance = 0.05;
/// The nearest to its end that a live playlist is played.
constexpr double liveDistance = 3;

/// What has come, and how much media are in what number of bytes of it.
struct Loaded {
  std::vector<TimeRange> ranges;
  double bytes = 0;
  double seconds = 0;

  void add(double start, double duration) {
    if (!ranges.empty()) {
      TimeRange& last = ranges.back();
      if (start <= last.start + last.duration + tolerance) {
        last.duration = std::max(last.duration, start + duration - last.start);
        return;
      }
    }
    ranges.push_back({start, duration});
  }
  /// Seconds that can be played from `position` on without a gap.
  double ahead(double position) const {
    for (const TimeRange& range : ranges)
      if (range.start <= position + tolerance && position < range.start + range.duration)
        return range.start + range.duration - position;
    return 0;
  }
};

/// Bytes of `segment`, if all of them have come with `range`.
std::optional<double> sizeIn(const RelayedRange& range, const MediaTimeline::Segment& segment) {
  if (segment.byteLength) {
    const auto end = segment.byteOffset + *segment.byteLength;
    if (range.begin > segment.byteOffset || range.end < end) return {};
    return static_cast<double>(*segment.byteLength);
  }
  if (range.begin != 0 || !range.complete) return {};
  return static_cast<double>(range.end);
}

/// A piece that has come whole.
struct Piece {
  double start;
  double duration;
  double bytes;
};

void addSegments(const MediaTimeline& timeline, const std::vector<RelayedRange>& ranges,
                 std::vector<Piece>& pieces) {
  std::unordered_multimap<std::string_view, const RelayedRange*> byURL;
  for (const RelayedRange& range : ranges) byURL.emplace(range.url, &range);
  for (const auto& segment : timeline.segments) {
    const auto [first, last] = byURL.equal_range(segment.url);
    for (auto entry = first; entry != last; ++entry) {
      const auto size = sizeIn(*entry->second, segment);
      if (!size) continue;
      pieces.push_back({segment.start, segment.duration, *size});
      break;
    }
  }
}

void addByRule(const SegmentRule& rule, const RelayedRange& range, std::vector<Piece>& pieces) {
  const auto place = rule.placeOf(range.url);
  if (!place) return;
  const auto bytes = static_cast<double>(range.end - std::min(range.begin, range.end));
  if (rule.form == SegmentRule::Form::Whole) {
    // It comes in parts, of which nobody here knows more than where they lie.
    if (!range.totalBytes || *range.totalBytes == 0 || bytes == 0) return;
    const double scale = place->duration / static_cast<double>(*range.totalBytes);
    pieces.push_back(
        {place->start + static_cast<double>(range.begin) * scale, bytes * scale, bytes});
  } else if (range.begin == 0 && range.complete) {
    pieces.push_back({place->start, place->duration, bytes});
  }
}

Loaded loadedPieces(const TimelineInput& input) {
  std::vector<Piece> pieces;
  const auto addTimeline = [&](const MediaTimeline& timeline) {
    addSegments(timeline, input.ranges, pieces);
    for (const SegmentRule& rule : timeline.rules)
      for (const RelayedRange& range : input.ranges) addByRule(rule, range, pieces);
  };
  addTimeline(*input.timeline);
  for (const auto& variant : input.variants)
    if (variant != input.timeline) addTimeline(*variant);
  std::sort(pieces.begin(), pieces.end(),
            [](const Piece& a, const Piece& b) { return a.start < b.start; });
  Loaded loaded;
  for (const Piece& piece : pieces) {
    loaded.add(piece.start, piece.duration);
    loaded.bytes += piece.bytes;
    loaded.seconds += piece.duration;
  }
  return loaded;
}

Loaded loadedBytes(const TimelineInput& input) {
  Loaded loaded;
  if (!input.duration || *input.duration <= 0) return loaded;
  std::vector<TimeRange> shares;
  for (const RelayedRange& range : input.ranges) {
    if (range.url != input.url || !range.totalBytes || *range.totalBytes == 0) continue;
    const double scale = *input.duration / static_cast<double>(*range.totalBytes);
    shares.push_back({static_cast<double>(range.begin) * scale,
                      static_cast<double>(range.end - std::min(range.begin, range.end)) * scale});
    loaded.bytes = static_cast<double>(*range.totalBytes);
    loaded.seconds = *input.duration;
  }
  std::sort(shares.begin(), shares.end(),
            [](const TimeRange& a, const TimeRange& b) { return a.start < b.start; });
  for (const TimeRange& share : shares)
    if (share.duration > 0) loaded.add(share.start, share.duration);
  return loaded;
}

std::optional<double> endOf(const TimelineInput& input) {
  if (input.timeline && !input.timeline->segments.empty()) {
    const auto& last = input.timeline->segments.back();
    return last.start + last.duration;
  }
  return input.duration.value_or(0) > 0 ? input.duration : std::nullopt;
}

std::optional<double> keepUpTime(const TimelineInput& input, const Loaded& loaded) {
  const double rest = endOf(input).value_or(input.position + secondsAhead) - input.position;
  const double missing = std::clamp(rest, 0.0, secondsAhead) - loaded.ahead(input.position);
  if (missing <= tolerance) return 0;
  if (loaded.seconds <= 0 || loaded.bytes <= 0) return {};
  if (!input.observedBitrate || *input.observedBitrate <= 0) return {};
  return missing * (8 * loaded.bytes / loaded.seconds) / *input.observedBitrate;
}

std::optional<TimeRange> liveWindowOf(const MediaTimeline& timeline) {
  if (!timeline.live || timeline.segments.empty()) return {};
  const auto& last = timeline.segments.back();
  const double start = timeline.segments.front().start;
  const double end = last.start + last.duration - liveDistance * timeline.targetDuration;
  return TimeRange{start, std::max(0.0, end - start)};
}

}  // namespace

TimelineFacts TimelineFacts::of(const TimelineInput& input) {
  TimelineFacts facts;
  const MediaTimeline* timeline = input.timeline.get();
  Loaded loaded = timeline ? loadedPieces(input) : loadedBytes(input);
  facts.likelyToKeepUpTime = keepUpTime(input, loaded);
  facts.loaded = std::move(loaded.ranges);
  if (!timeline) return facts;

  facts.liveWindow = liveWindowOf(*timeline);
  facts.playbackDate = timeline->dateAt(input.position);
  facts.estimatedDate = facts.playbackDate;
  if (!facts.estimatedDate && !timeline->dates.empty()) {
    const auto& mark = timeline->dates.front();
    facts.estimatedDate =
        platform::Date{mark.date.secondsSince1970 + input.position - mark.position};
  }
  return facts;
}

}  // namespace box
