#pragma once

#include <cstdint>
#include <optional>

namespace streaming {

/// Estimates the throughput of the network from completed transfers. It keeps two moving averages,
/// a fast and a slow one, and returns the smaller of them: a drop is followed at once, a rise only
/// if it lasts.
class Throughput {
 public:
  /// Adds a transfer of `bytes` bytes that took `seconds`. Small transfers are summed up before
  /// they count.
  void add(std::uint64_t bytes, double seconds);

  /// Bits per second. nullopt before the first measurement.
  std::optional<double> estimate() const;
  /// The fast average only.
  std::optional<double> recent() const;
  /// The standard deviation in bits per second.
  double deviation() const;
  /// Sets an estimate that is used until the first measurement.
  void setInitialEstimate(double bitrate);

 private:
  struct Average {
    double sum = 0;
    double weight = 0;
    void add(double value, double seconds, double halfLife);
    double mean() const { return sum / weight; }
  };

  Average _fast;
  Average _slow;
  Average _square;
  std::uint64_t _pendingBytes = 0;
  double _pendingSeconds = 0;
  std::optional<double> _initialEstimate;
};

}  // namespace streaming
