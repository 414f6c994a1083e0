#pragma once

#include <cstdint>
#include <optional>

namespace box {

/// A moving average of what a network gave, newer measurements weighing more, with its deviation.
class Bandwidth {
 public:
  /// Too short ones say more of the delay than of the network, and are not counted.
  void add(std::uint64_t bytes, double seconds);
  std::optional<double> bitrate() const { return _mean; }
  std::optional<double> deviation() const;

 private:
  std::optional<double> _mean;
  double _variance = 0;
  unsigned _count = 0;
};

}  // namespace box
