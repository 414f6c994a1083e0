#include "streaming/transfer/TransferMeter.h"

#include <utility>

namespace streaming {
namespace {

// Long transfers are measured in intervals.
constexpr double kMeasuredSeconds = 0.5;
constexpr std::uint64_t kMeasuredBytes = std::uint64_t{128} * 1024;

}  // namespace

void TransferMeter::begin() {
  end();
  _begun = true;
  _discardsNext = false;
  _since = monotonicSeconds();
  _bytes = 0;
}

void TransferMeter::got(std::uint64_t bytes) {
  if (!std::exchange(_counted, true)) _counters.bodyBegan();
  _counters.addBytes(bytes);
  _bytes += bytes;
  if (_bytes < kMeasuredBytes) return;
  const double now = monotonicSeconds();
  if (now - _since >= kMeasuredSeconds) _measure(now);
}

void TransferMeter::pause() {
  if (std::exchange(_counted, false)) _counters.bodyStopped();
  if (_begun) _measure(monotonicSeconds());
  _discardsNext = true;
}

void TransferMeter::resume() {
  if (!_begun) return;
  if (!std::exchange(_counted, true)) _counters.bodyBegan();
  _since = monotonicSeconds();
}

void TransferMeter::end() {
  if (std::exchange(_begun, false)) _measure(monotonicSeconds());
  if (std::exchange(_counted, false)) _counters.bodyStopped();
}

void TransferMeter::_measure(double now) {
  if (!_discardsNext) _counters.addMeasurement(_bytes, now - _since);
  _discardsNext = false;
  _since = now;
  _bytes = 0;
}

}  // namespace streaming
