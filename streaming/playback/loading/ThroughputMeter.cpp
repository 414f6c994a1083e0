#include "streaming/playback/loading/ThroughputMeter.h"

namespace streaming {
namespace {

// Long transfers are measured in intervals.
constexpr double kMeasuredSeconds = 0.5;

}  // namespace

void ThroughputMeter::_begin() {
  if (_count++ == 0) _since = _source.now();
}

void ThroughputMeter::_addBytes(std::uint64_t bytes) {
  _bytes += bytes;
  if (std::chrono::duration<double>(_source.now() - _since).count() >= kMeasuredSeconds) _measure();
}

void ThroughputMeter::_end() {
  if (--_count == 0) _measure();
}

void ThroughputMeter::_measure() {
  const MonotonicTime now = _source.now();
  _throughput.add(_bytes, std::chrono::duration<double>(now - _since).count());
  _bytes = 0;
  _since = now;
}

}  // namespace streaming
