#include "box/relay/TransferMeter.h"

#include <utility>

namespace box {
namespace {

// So that a transfer that goes on for hours is measured all the while.
constexpr double kMeasuredSeconds = 0.5;
constexpr std::uint64_t kMeasuredBytes = std::uint64_t{128} * 1024;

}  // namespace

void TransferMeter::begin() {
  end();
  _begun = true;
  _spoilt = false;
  _since = monotonicSeconds();
  _bytes = 0;
}

void TransferMeter::got(std::uint64_t bytes) {
  if (!std::exchange(_counted, true)) _record.bodyBegan();
  _record.addBytes(bytes);
  _bytes += bytes;
  if (_bytes < kMeasuredBytes) return;
  const double now = monotonicSeconds();
  if (now - _since >= kMeasuredSeconds) _measure(now);
}

void TransferMeter::pause() {
  if (std::exchange(_counted, false)) _record.bodyStopped();
  if (_begun) _measure(monotonicSeconds());
  _spoilt = true;
}

void TransferMeter::resume() {
  if (!_begun) return;
  if (!std::exchange(_counted, true)) _record.bodyBegan();
  _since = monotonicSeconds();
}

void TransferMeter::end() {
  if (std::exchange(_begun, false)) _measure(monotonicSeconds());
  if (std::exchange(_counted, false)) _record.bodyStopped();
}

void TransferMeter::_measure(double now) {
  if (!_spoilt) _record.addMeasurement(_bytes, now - _since);
  _spoilt = false;
  _since = now;
  _bytes = 0;
}

}  // namespace box
