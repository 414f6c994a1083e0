#include "streaming/playback/TransferRecord.h"

#include <iterator>
#include <utility>

namespace streaming {
namespace {

constexpr std::size_t kMostFaults = 100;

/// Subtracts counters. Other values are those of `later`.
TransferStatistics statisticsSince(TransferStatistics later, const TransferStatistics& earlier) {
  later.requestCount -= earlier.requestCount;
  later.bytesTransferred -= earlier.bytesTransferred;
  later.transferSeconds -= earlier.transferSeconds;
  later.stallCount -= earlier.stallCount;
  later.retryCount -= earlier.retryCount;
  return later;
}

}  // namespace

void TransferRecord::addFault(platform::Date date, const std::string& url,
                              const platform::Error& error) {
  setFailure(error);
  logFault(date, url, error);
}

void TransferRecord::setFailure(const platform::Error& error) {
  const std::lock_guard lock(_mutex);
  if (!_failure) _failure = error;
}

void TransferRecord::logFault(platform::Date date, const std::string& url,
                              const platform::Error& error) {
  const std::lock_guard lock(_mutex);
  _faults.push_back({date, url, error});
  if (_faults.size() > kMostFaults) _faults.pop_front();
}

bool TransferRecord::mediaCame(MonotonicTime now, const std::string& representation,
                               std::optional<double> bitrate, double seconds) {
  TransferStatistics statistics = _statistics();
  const std::lock_guard lock(_mutex);
  _failure.reset();
  const bool isFirst = _legs.empty();
  const bool isSwitch = !isFirst && _legs.back().leg.representation != representation;
  const bool begins = isSwitch || (!isFirst && _legs.back().server != statistics.serverAddress);
  if (begins || isFirst) {
    Leg& leg = _legs.emplace_back();
    leg.since = now;
    leg.server = statistics.serverAddress;
    leg.leg.representation = representation;
    leg.leg.isSwitch = isSwitch;
    if (begins) {
      // The new leg includes the request that started it.
      if (statistics.requestCount > 0) --statistics.requestCount;
      leg.leg.statistics = statistics;
    }
    if (_legs.size() > StreamedItem::kMostLegs) _legs.pop_front();
  }
  _legs.back().leg.indicatedBitrate = bitrate;
  _legs.back().leg.mediaSeconds += seconds;
  return begins;
}

void TransferRecord::otherMediaCame() {
  const std::lock_guard lock(_mutex);
  _failure.reset();
}

std::optional<platform::Error> TransferRecord::failure() const {
  const std::lock_guard lock(_mutex);
  return _failure;
}

std::vector<TransferFault> TransferRecord::faults() const {
  const std::lock_guard lock(_mutex);
  return {_faults.begin(), _faults.end()};
}

std::vector<TransferLeg> TransferRecord::legs(MonotonicTime now) const {
  const TransferStatistics statistics = _statistics();
  const std::lock_guard lock(_mutex);
  std::vector<TransferLeg> result;
  for (auto each = _legs.begin(); each != _legs.end(); ++each) {
    const auto next = std::next(each);
    TransferLeg leg = each->leg;
    leg.age = std::chrono::duration<double>(now - each->since).count();
    leg.statistics = statisticsSince(next == _legs.end() ? statistics : next->leg.statistics,
                                     each->leg.statistics);
    leg.statistics.serverAddress = each->server;
    result.push_back(std::move(leg));
  }
  // Before the first media data there is one leg.
  if (result.empty()) result.push_back({0, {}, {}, false, 0, statistics});
  return result;
}

}  // namespace streaming
