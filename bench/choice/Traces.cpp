#include "bench/choice/Traces.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

namespace bench {
namespace {

/// Approximately normally distributed with the standard deviation `share * mean`. Never negative.
double noisy(std::mt19937& random, double mean, double share) {
  // Not std::normal_distribution, whose results depend on the library.
  double sum = 0;
  for (int i = 0; i < 12; ++i) sum += static_cast<double>(random()) / std::mt19937::max();
  return std::max(0.0, mean * (1 + share * (sum - 6)));
}

}  // namespace

double Trace::at(double seconds) const {
  const auto place = static_cast<std::size_t>(std::max(0.0, seconds));
  return bitrates[std::min(place, bitrates.size() - 1)];
}

std::vector<Trace> makeTraces(unsigned seed, int seconds) {
  std::mt19937 random(seed);
  const auto make = [&](const char* name, double share,
                        const std::function<double(int second)>& mean) {
    Trace trace{name, {}};
    for (int i = 0; i < seconds; ++i) trace.bitrates.push_back(noisy(random, mean(i), share));
    return trace;
  };
  int tunnelUntil = 0;
  int nextTunnel = 40;
  const auto train = [&](int second) {
    if (second >= nextTunnel) {
      tunnelUntil = second + 6 + static_cast<int>(random() % 14);
      nextTunnel = tunnelUntil + 20 + static_cast<int>(random() % 60);
    }
    return second < tunnelUntil ? 0.05e6 : 6e6;
  };
  return {
      make("steady, 6 Mbit/s", 0.1, [](int) { return 6e6; }),
      make("steady, 1.3 Mbit/s", 0.1, [](int) { return 1.3e6; }),
      make("unsteady, 4 Mbit/s", 0.45, [](int) { return 4e6; }),
      make("step down, 8 to 1.5 Mbit/s", 0.15,
           [&](int second) { return second < seconds / 2 ? 8e6 : 1.5e6; }),
      make("step up, 1.5 to 8 Mbit/s", 0.15,
           [&](int second) { return second < seconds / 2 ? 1.5e6 : 8e6; }),
      make("waves of a minute, 1 to 7 Mbit/s", 0.15,
           [](int second) { return 4e6 + 3e6 * std::sin(second * 6.2832 / 60); }),
      make("train through tunnels, 6 Mbit/s", 0.3, train),
  };
}

}  // namespace bench
