#pragma once

#include <string>
#include <vector>

namespace bench {

/// The bitrate of a network in each second, in bits per second.
struct Trace {
  std::string name;
  std::vector<double> bitrates;
  double at(double seconds) const;
};

/// Each trace is `seconds` long. The same seed generates the same traces.
std::vector<Trace> makeTraces(unsigned seed, int seconds);

}  // namespace bench
