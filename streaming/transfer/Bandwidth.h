#pragma once

#include <cstdint>
#include <optional>

namespace streaming {

/// A moving average of measured bit rates, in which newer ones weigh more, and its deviation.
class Bandwidth {
 public:
  /// Short transfers are ignored: their time is mostly delay.
  void add(std::uint64_t bytes, double seconds);
  std::optional<double> bitrate() const { return _mean; }
  std::optional<double> deviation() const;

 private:
  std::optional<double> _mean;
  double _variance = 0;
  unsigned _count = 0;
};

}  // namespace streaming
