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
constexpr double kShortestSeconds = 1e-3;

/// What is counted, from one time to a later one; the rest as it was at the later one.
RelayStatistics difference(RelayStatistics later, const RelayStatistics& earlier) {
  later.requestCount -= earlier.requestCount;
  later.bytesTransferred -= earlier.bytesTransferred;
  later.transferSeconds -= earlier.transferSeconds;
  later.stallCount -= earlier.stallCount;
  later.retryCount -= earlier.retryCount;
  return later;
}

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
  return _now();
}

RelayStatistics ItemRecord::_now() const {
  RelayStatistics statistics = _statistics;
  if (_bodies > 0) statistics.transferSeconds += monotonicSeconds() - _bodiesSince;
  statistics.observedBitrate = _bandwidth.bitrate();
  statistics.observedBitrateDeviation = _bandwidth.deviation();
  // Where everything was too short to be measured one by one, all of it together says something.
  if (!statistics.observedBitrate && statistics.bytesTransferred > 0)
    statistics.observedBitrate = static_cast<double>(statistics.bytesTransferred) * 8 /
                                 std::max(statistics.transferSeconds, kShortestSeconds);
  return statistics;
}

std::vector<RelayLeg> ItemRecord::legs() const {
  const std::lock_guard lock(_mutex);
  const double now = monotonicSeconds();
  std::vector<RelayLeg> result;
  for (auto each = _legs.begin(); each != _legs.end(); ++each) {
    const auto next = std::next(each);
    RelayLeg leg = each->leg;
    leg.age = now - each->since;
    leg.statistics =
        difference(next == _legs.end() ? _now() : next->leg.statistics, each->leg.statistics);
    if (!each->server.empty()) leg.statistics.serverAddress = each->server;
    result.push_back(std::move(leg));
  }
  return result;
}

bool ItemRecord::noteSource(const std::string& url, bool isItself) {
  const std::lock_guard lock(_mutex);
  auto source = _sourceOf(url);
  if (!source && _timelines.empty() && isItself) source.emplace();
  // Sound and texts beside the picture may come from anywhere.
  if (!source) return false;
  std::optional<double> bitrate;
  if (_offers && !source->variant.empty()) {
    const auto& variants = _offers->variants;
    const auto variant = std::find_if(variants.begin(), variants.end(), [&](const auto& each) {
      return each.name == source->variant;
    });
    if (variant == variants.end()) return false;
    if (variant->bitrate > 0) bitrate = variant->bitrate;
  }
  const auto before = std::exchange(_server, _statistics.serverAddress);
  const bool isSwitch = before && _legs.back().leg.variant != source->variant;
  const bool begins = isSwitch || (before && *before != *_server);
  if (begins) {
    Leg& next = _legs.emplace_back();
    next.since = monotonicSeconds();
    next.leg.isSwitch = isSwitch;
    next.leg.statistics = _now();
    // That which has brought it belongs to it.
    if (next.leg.statistics.requestCount > 0) --next.leg.statistics.requestCount;
    if (_legs.size() > RelayItem::kMostLegs) _legs.pop_front();
  }
  _legs.back().server = *_server;
  RelayLeg& leg = _legs.back().leg;
  leg.variant = source->variant;
  leg.indicatedBitrate = bitrate;
  leg.mediaSeconds += source->duration;
  return begins;
}

std::optional<ItemRecord::Source> ItemRecord::_sourceOf(const std::string& url) const {
  const int best = _bestKind();
  for (const auto& [playlist, entry] : _timelines) {
    if (_kindOf(playlist) != best) continue;
    for (const auto& segment : entry.timeline->segments)
      if (segment.url == url) return Source{playlist, segment.duration};
    for (const SegmentRule& rule : entry.timeline->rules)
      if (const auto place = rule.placeOf(url)) return Source{rule.variant, place->duration};
  }
  return std::nullopt;
}

bool ItemRecord::isLiveSegment(const std::string& url) const {
  const std::lock_guard lock(_mutex);
  return std::any_of(_timelines.begin(), _timelines.end(), [&](const auto& each) {
    const MediaTimeline& timeline = *each.second.timeline;
    if (!timeline.live) return false;
    for (const auto& segment : timeline.segments)
      if (segment.url == url) return true;
    for (const SegmentRule& rule : timeline.rules)
      if (rule.placeOf(url)) return true;
    return false;
  });
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

std::shared_ptr<const StreamOffers> ItemRecord::offers() const {
  const std::lock_guard lock(_mutex);
  return _offers;
}

void ItemRecord::setOffers(std::shared_ptr<const StreamOffers> offers) {
  const std::lock_guard lock(_mutex);
  _offers = std::move(offers);
}

void ItemRecord::noteAlternate(const std::string& url, bool isSound) {
  const std::lock_guard lock(_mutex);
  if (_alternates.size() < kMostAlternates) _alternates[url] = isSound;
}

/// The picture's before the sound's before the text's.
int ItemRecord::_kindOf(const std::string& playlist) const {
  const auto alternate = _alternates.find(playlist);
  return alternate == _alternates.end() ? 2 : alternate->second ? 1 : 0;
}

int ItemRecord::_bestKind() const {
  int best = -1;
  for (const auto& each : _timelines) best = std::max(best, _kindOf(each.first));
  return best;
}

std::vector<std::shared_ptr<const MediaTimeline>> ItemRecord::timelines() const {
  const std::lock_guard lock(_mutex);
  const int best = _bestKind();
  std::vector<std::shared_ptr<const MediaTimeline>> result;
  for (const auto& [playlist, entry] : _timelines)
    if (_kindOf(playlist) == best) result.push_back(entry.timeline);
  return result;
}

std::shared_ptr<const MediaTimeline> ItemRecord::timeline() const {
  const std::lock_guard lock(_mutex);
  // The newest of the best.
  const auto rank = [&](const auto& entry) {
    return std::pair(_kindOf(entry.first), entry.second.age);
  };
  const auto best =
      std::max_element(_timelines.begin(), _timelines.end(),
                       [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
  return best == _timelines.end() ? nullptr : best->second.timeline;
}

}  // namespace box
