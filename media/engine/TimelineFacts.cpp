#include "media/engine/TimelineFacts.h"

#include <algorithm>

namespace media {
namespace {

using platform::TimeRange;
using streaming::StreamedItem;

/// How much has to be buffered for playback to be likely to keep up.
constexpr double kSecondsAhead = 10;
/// Durations in playlists are rounded.
constexpr double kTolerance = 0.05;

/// Returns the seconds from `position` to the first gap.
double secondsAhead(const std::vector<TimeRange>& loaded, double position) {
  for (const TimeRange& range : loaded)
    if (range.start <= position + kTolerance && position < range.start + range.duration)
      return range.start + range.duration - position;
  return 0;
}

void addPresentation(const StreamedItem& item, double position, platform::MediaFacts& facts) {
  auto timeline = item.presentation()->timeline(position);
  facts.playbackDate = timeline.date;
  facts.estimatedDate = timeline.date;
  facts.loaded = std::move(timeline.loaded);
  facts.live = timeline.isLive;
  if (timeline.isLive) facts.seekable = std::move(timeline.seekable);
  std::optional<double> end;
  if (timeline.duration > 0)
    end = timeline.duration;
  else if (timeline.isLive && !facts.seekable.empty())
    end = facts.seekable.back().start + facts.seekable.back().duration;
  const auto entries = item.accessLog();
  facts.likelyToKeepUpTime =
      timeline.isLoadedToEnd ? 0
                             : secondsUntilLikelyToKeepUp(
                                   facts.loaded, position, end,
                                   entries.empty() ? std::nullopt : entries.back().indicatedBitrate,
                                   item.statistics().observedBitrate);
}

void addResource(const StreamedItem& item, double position, platform::MediaFacts& facts) {
  const auto resource = item.resource();
  const auto size = resource->size();
  if (!size || *size == 0 || facts.duration <= 0) return;
  facts.loaded = timeRangesOf(resource->loaded(), *size, facts.duration);
  facts.likelyToKeepUpTime = secondsUntilLikelyToKeepUp(
      facts.loaded, position, facts.duration, 8 * static_cast<double>(*size) / facts.duration,
      item.statistics().observedBitrate);
}

}  // namespace

std::vector<TimeRange> timeRangesOf(const std::vector<streaming::ByteSpan>& loaded,
                                    std::uint64_t size, double duration) {
  std::vector<TimeRange> times;
  const double scale = duration / static_cast<double>(size);
  for (const streaming::ByteSpan& span : loaded) {
    if (span.offset >= size) continue;
    const std::uint64_t rest = size - span.offset;
    const std::uint64_t length = std::min(span.length.value_or(rest), rest);
    if (length > 0)
      times.push_back(
          {static_cast<double>(span.offset) * scale, static_cast<double>(length) * scale});
  }
  return times;
}

std::optional<double> secondsUntilLikelyToKeepUp(const std::vector<TimeRange>& loaded,
                                                 double position, std::optional<double> end,
                                                 std::optional<double> mediaBitrate,
                                                 std::optional<double> observedBitrate) {
  const double rest = end.value_or(position + kSecondsAhead) - position;
  const double missing = std::clamp(rest, 0.0, kSecondsAhead) - secondsAhead(loaded, position);
  if (missing <= kTolerance) return 0;
  if (mediaBitrate.value_or(0) <= 0 || observedBitrate.value_or(0) <= 0) return std::nullopt;
  return missing * *mediaBitrate / *observedBitrate;
}

void addTimeline(const StreamedItem& item, double position, platform::MediaFacts& facts) {
  if (item.kind() == StreamedItem::Kind::Presentation)
    addPresentation(item, position, facts);
  else
    addResource(item, position, facts);
}

std::optional<double> positionOfDate(const StreamedItem* item, platform::Date date) {
  if (!item || item->kind() != StreamedItem::Kind::Presentation || !item->presentation())
    return std::nullopt;
  return item->presentation()->positionOf(date);
}

}  // namespace media
