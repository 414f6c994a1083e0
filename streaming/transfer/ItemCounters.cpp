#include "streaming/transfer/ItemCounters.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace streaming {
namespace {

constexpr double kMinTransferSeconds = 1e-3;

}  // namespace

double monotonicSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

TransferStatistics ItemCounters::statistics() const {
  const std::lock_guard lock(_mutex);
  TransferStatistics statistics = _statistics;
  if (_bodies > 0) statistics.transferSeconds += monotonicSeconds() - _bodiesSince;
  statistics.observedBitrate = _bandwidth.bitrate();
  statistics.observedBitrateDeviation = _bandwidth.deviation();
  // No single transfer was long enough for a measurement.
  if (!statistics.observedBitrate && statistics.bytesTransferred > 0)
    statistics.observedBitrate = static_cast<double>(statistics.bytesTransferred) * 8 /
                                 std::max(statistics.transferSeconds, kMinTransferSeconds);
  return statistics;
}

bool ItemCounters::isBusy() const {
  const std::lock_guard lock(_mutex);
  return _busy > 0;
}

void ItemCounters::addRequest() {
  const std::lock_guard lock(_mutex);
  ++_statistics.requestCount;
}

void ItemCounters::addRetry() {
  const std::lock_guard lock(_mutex);
  ++_statistics.retryCount;
}

void ItemCounters::addStall() {
  const std::lock_guard lock(_mutex);
  ++_statistics.stallCount;
}

void ItemCounters::addBytes(std::uint64_t count) {
  const std::lock_guard lock(_mutex);
  _statistics.bytesTransferred += count;
}

void ItemCounters::addMeasurement(std::uint64_t bytes, double seconds) {
  const std::lock_guard lock(_mutex);
  _bandwidth.add(bytes, seconds);
}

void ItemCounters::setServerAddress(std::string address) {
  const std::lock_guard lock(_mutex);
  _statistics.serverAddress = std::move(address);
}

void ItemCounters::bodyBegan() {
  const std::lock_guard lock(_mutex);
  if (_bodies++ == 0) _bodiesSince = monotonicSeconds();
}

void ItemCounters::bodyStopped() {
  const std::lock_guard lock(_mutex);
  if (--_bodies == 0) _statistics.transferSeconds += monotonicSeconds() - _bodiesSince;
}

void ItemCounters::becameBusy() {
  const std::lock_guard lock(_mutex);
  ++_busy;
}

void ItemCounters::becameIdle() {
  const std::lock_guard lock(_mutex);
  --_busy;
}

}  // namespace streaming
