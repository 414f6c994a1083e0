#include "streaming/choice/Throughput.h"

#include <algorithm>
#include <cmath>

namespace streaming {
namespace {

constexpr std::uint64_t kMinBytes = std::uint64_t{32} * 1024;
// Half-lives of the moving averages, in seconds of transfer.
constexpr double kFastHalfLife = 3;
constexpr double kSlowHalfLife = 8;
constexpr double kMinSeconds = 1e-4;
// Limits the weight of one long transfer.
constexpr double kMaxWeight = 20;

}  // namespace

void Throughput::Average::add(double value, double seconds, double halfLife) {
  const double kept = std::exp2(-seconds / halfLife);
  sum = sum * kept + value * (1 - kept);
  weight = weight * kept + (1 - kept);
}

void Throughput::add(std::uint64_t bytes, double seconds) {
  _pendingBytes += bytes;
  _pendingSeconds += std::max(seconds, 0.0);
  if (_pendingBytes < kMinBytes) return;
  const double elapsed = std::max(_pendingSeconds, kMinSeconds);
  const double bitrate = static_cast<double>(_pendingBytes) * 8 / elapsed;
  const double weight = std::min(elapsed, kMaxWeight);
  _fast.add(bitrate, weight, kFastHalfLife);
  _slow.add(bitrate, weight, kSlowHalfLife);
  _square.add(bitrate * bitrate, weight, kSlowHalfLife);
  _pendingBytes = 0;
  _pendingSeconds = 0;
}

std::optional<double> Throughput::estimate() const {
  if (_fast.weight <= 0) return _initialEstimate;
  return std::min(_fast.mean(), _slow.mean());
}

std::optional<double> Throughput::recent() const {
  return _fast.weight > 0 ? std::optional(_fast.mean()) : std::nullopt;
}

double Throughput::deviation() const {
  if (_slow.weight <= 0) return 0;
  const double mean = _slow.mean();
  return std::sqrt(std::max(0.0, _square.mean() - mean * mean));
}

void Throughput::setInitialEstimate(double bitrate) { _initialEstimate = bitrate; }

}  // namespace streaming
