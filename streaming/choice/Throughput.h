#pragma once

#include <cstdint>
#include <optional>

namespace streaming {

/// What the network gives, from the transfers there were. Two averages are kept, one of the last
/// seconds and one of the last minute or so; the smaller one counts, so that a fall is noticed soon
/// and a rise is believed when it lasts.
class Throughput {
 public:
  /// `bytes` came in `seconds` of transfer. Small amounts are gathered until they say something.
  void add(std::uint64_t bytes, double seconds);

  /// Bits a second; none before anything was measured.
  std::optional<double> estimate() const;
  /// That of the last seconds alone.
  std::optional<double> recent() const;
  /// Of what was measured from the mean, bits a second.
  double deviation() const;
  /// A first guess, from another item; it counts until something was measured.
  void remember(double bitrate);

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
  std::uint64_t _gatheredBytes = 0;
  double _gatheredSeconds = 0;
  std::optional<double> _remembered;
};

}  // namespace streaming
