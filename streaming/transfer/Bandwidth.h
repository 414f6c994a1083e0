#pragma once

#include <cstdint>
#include <optional>

namespace streaming {

/// Exponential moving average of bit rates, and the standard deviation.
class Bandwidth {
 public:
  /// Short transfers are ignored, because latency dominates their duration.
  void add(std::uint64_t bytes, double seconds);
  std::optional<double> bitrate() const { return _mean; }
  std::optional<double> deviation() const;

 private:
  std::optional<double> _mean;
  double _variance = 0;
  unsigned _count = 0;
};

}  // namespace streaming
