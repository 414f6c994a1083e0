#include "media/metadata/MetadataTimeline.h"

#include <algorithm>

#include "platform/media/TimedMetadataItem.h"

namespace media {
namespace {

constexpr std::int32_t kTimescale = 90000;
/// Times of the same event differ slightly between tracks with different timescales.
constexpr double kSameTime = 0.005;
constexpr std::size_t kItemLimit = 64;

template <typename Groups>
auto firstAfter(Groups& groups, double seconds) {
  return std::find_if(groups.begin(), groups.end(),
                      [&](const auto& each) { return each.start > seconds; });
}

}  // namespace

struct MetadataTimeline::Group {
  double start;
  Items items;
};

MetadataTimeline::MetadataTimeline() = default;
MetadataTimeline::~MetadataTimeline() = default;

void MetadataTimeline::add(Source source, double seconds, Items items) {
  const std::lock_guard lock(_mutex);
  auto& groups = _groups[static_cast<std::size_t>(source)];
  const auto same =
      source != Source::Events ? groups.end() : firstAfter(groups, seconds - kSameTime);
  const bool joins = same != groups.end() && same->start < seconds + kSameTime;
  if (joins) seconds = same->start;
  for (auto& each : items) each.time = platform::MediaTime::seconds(seconds, kTimescale);
  if (joins) {
    for (auto& each : items)
      if (std::find(same->items.begin(), same->items.end(), each) == same->items.end() &&
          same->items.size() < kItemLimit)
        same->items.push_back(std::move(each));
    return;
  }
  const auto place = firstAfter(groups, seconds);
  if (place != groups.begin() && std::prev(place)->start == seconds)
    std::prev(place)->items = std::move(items);
  else
    groups.insert(place, {seconds, std::move(items)});
  if (groups.size() > kGroupLimit) groups.erase(groups.begin());
}

MetadataTimeline::Items MetadataTimeline::at(double seconds) const {
  Items result;
  const std::lock_guard lock(_mutex);
  for (const auto& groups : _groups) {
    const auto next = firstAfter(groups, seconds);
    if (next != groups.begin())
      result.insert(result.end(), std::prev(next)->items.begin(), std::prev(next)->items.end());
  }
  return result;
}

std::optional<double> MetadataTimeline::nextAfter(double seconds) const {
  std::optional<double> result;
  const std::lock_guard lock(_mutex);
  for (const auto& groups : _groups) {
    const auto next = firstAfter(groups, seconds);
    if (next != groups.end() && (!result || next->start < *result)) result = next->start;
  }
  return result;
}

}  // namespace media
