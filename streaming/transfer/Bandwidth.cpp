#include "streaming/transfer/Bandwidth.h"

#include <algorithm>
#include <cmath>

namespace streaming {
namespace {

constexpr std::uint64_t kMinBytes = std::uint64_t{16} * 1024;
constexpr double kWeightOfNewest = 0.25;
constexpr double kMinSeconds = 1e-5;

}  // namespace

void Bandwidth::add(std::uint64_t bytes, double seconds) {
  if (bytes < kMinBytes) return;
  const double rate = static_cast<double>(bytes) * 8 / std::max(seconds, kMinSeconds);
  ++_count;
  if (!_mean) {
    _mean = rate;
    return;
  }
  const double difference = rate - *_mean;
  *_mean += kWeightOfNewest * difference;
  _variance = (1 - kWeightOfNewest) * (_variance + kWeightOfNewest * difference * difference);
}

std::optional<double> Bandwidth::deviation() const {
  if (_count < 2) return std::nullopt;
  return std::sqrt(_variance);
}

}  // namespace streaming
