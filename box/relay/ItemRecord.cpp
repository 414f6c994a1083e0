#include "box/relay/ItemRecord.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace box {
namespace {

// A live stream may lack a segment or two; one that lacks all is none.
constexpr unsigned kMostFailuresInARow = 10;

constexpr std::size_t kMostRanges = 256;
/// Those of a day's programme take some megabytes each.
constexpr std::size_t kMostTimelines = 6;
constexpr std::size_t kMostAlternates = 256;

}  // namespace

double monotonicSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::optional<platform::Error> ItemRecord::failure() const {
  const std::lock_guard lock(_mutex);
  return _failure;
}

bool ItemRecord::isBusy() const {
  const std::lock_guard lock(_mutex);
  return _busy > 0;
}

RelayStatistics ItemRecord::statistics() const {
  const std::lock_guard lock(_mutex);
  RelayStatistics statistics = _statistics;
  if (_bodies > 0) statistics.transferSeconds += monotonicSeconds() - _bodiesSince;
  statistics.observedBitrate = _bandwidth.bitrate();
  statistics.observedBitrateDeviation = _bandwidth.deviation();
  return statistics;
}

std::vector<RelayedRange> ItemRecord::ranges() const {
  const std::lock_guard lock(_mutex);
  std::vector<RelayedRange> ranges;
  ranges.reserve(_ranges.size());
  for (const Range& range : _ranges) ranges.push_back(range.range);
  return ranges;
}

void ItemRecord::addRequest() {
  const std::lock_guard lock(_mutex);
  ++_statistics.requestCount;
}

void ItemRecord::addRetry() {
  const std::lock_guard lock(_mutex);
  ++_statistics.retryCount;
}

void ItemRecord::addStall() {
  const std::lock_guard lock(_mutex);
  ++_statistics.stallCount;
}

void ItemRecord::addBytes(std::uint64_t count) {
  const std::lock_guard lock(_mutex);
  _statistics.bytesTransferred += count;
}

void ItemRecord::addMeasurement(std::uint64_t bytes, double seconds) {
  const std::lock_guard lock(_mutex);
  _bandwidth.add(bytes, seconds);
}

void ItemRecord::setServerAddress(std::string address) {
  const std::lock_guard lock(_mutex);
  _statistics.serverAddress = std::move(address);
}

void ItemRecord::bodyBegan() {
  const std::lock_guard lock(_mutex);
  if (_bodies++ == 0) _bodiesSince = monotonicSeconds();
}

void ItemRecord::bodyStopped() {
  const std::lock_guard lock(_mutex);
  if (--_bodies == 0) _statistics.transferSeconds += monotonicSeconds() - _bodiesSince;
}

ItemRecord::FailureVerdict ItemRecord::addFailure(const platform::Error& error, bool isItself) {
  const std::lock_guard lock(_mutex);
  const bool isNews = !_newestFailure || _newestFailure->code != error.code;
  _newestFailure = error;
  if (!_failure) _failure = error;
  ++_failuresInARow;
  return {isNews, _failuresInARow >= kMostFailuresInARow || (isItself && !_mediaHavePassed)};
}

void ItemRecord::mediaPassed() {
  const std::lock_guard lock(_mutex);
  _failure.reset();
  _failuresInARow = 0;
  _mediaHavePassed = true;
}

void ItemRecord::becameBusy() {
  const std::lock_guard lock(_mutex);
  ++_busy;
}

void ItemRecord::becameIdle() {
  const std::lock_guard lock(_mutex);
  --_busy;
}

std::uint64_t ItemRecord::beginRange(std::string url, std::uint64_t begin,
                                     std::optional<std::uint64_t> total) {
  const std::lock_guard lock(_mutex);
  if (_ranges.size() == kMostRanges) _ranges.pop_front();
  _ranges.push_back({++_rangeCount, {std::move(url), begin, begin, total, false}});
  return _rangeCount;
}

ItemRecord::Range* ItemRecord::_range(std::uint64_t identifier) {
  const auto found = std::lower_bound(
      _ranges.begin(), _ranges.end(), identifier,
      [](const Range& range, std::uint64_t wanted) { return range.identifier < wanted; });
  return found != _ranges.end() && found->identifier == identifier ? &*found : nullptr;
}

void ItemRecord::extendRange(std::uint64_t identifier, std::uint64_t count) {
  const std::lock_guard lock(_mutex);
  if (Range* range = _range(identifier)) range->range.end += count;
}

void ItemRecord::completeRange(std::uint64_t identifier) {
  const std::lock_guard lock(_mutex);
  if (Range* range = _range(identifier)) range->range.complete = true;
}

std::shared_ptr<const MediaTimeline> ItemRecord::timelineOf(const std::string& url) const {
  const std::lock_guard lock(_mutex);
  const auto found = _timelines.find(url);
  return found == _timelines.end() ? nullptr : found->second.timeline;
}

void ItemRecord::setTimeline(const std::string& url,
                             std::shared_ptr<const MediaTimeline> timeline) {
  const std::lock_guard lock(_mutex);
  _timelines[url] = {std::move(timeline), ++_timelineCount};
  if (_timelines.size() <= kMostTimelines) return;
  _timelines.erase(
      std::min_element(_timelines.begin(), _timelines.end(),
                       [](const auto& a, const auto& b) { return a.second.age < b.second.age; }));
}

void ItemRecord::noteAlternate(const std::string& url, bool isSound) {
  const std::lock_guard lock(_mutex);
  if (_alternates.size() < kMostAlternates) _alternates[url] = isSound;
}

std::shared_ptr<const MediaTimeline> ItemRecord::timeline() const {
  const std::lock_guard lock(_mutex);
  // The picture's before the sound's before the text's, and of those the newest.
  const auto rank = [&](const auto& entry) {
    const auto alternate = _alternates.find(entry.first);
    const int kind = alternate == _alternates.end() ? 2 : alternate->second ? 1 : 0;
    return std::pair(kind, entry.second.age);
  };
  const auto best =
      std::max_element(_timelines.begin(), _timelines.end(),
                       [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
  return best == _timelines.end() ? nullptr : best->second.timeline;
}

}  // namespace box
