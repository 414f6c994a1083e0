#pragma once

#include <string>
#include <vector>

namespace bench {

/// What a network gives in each second: bits a second.
struct Trace {
  std::string name;
  std::vector<double> bitrates;
  double at(double seconds) const;
};

/// Of `seconds` each. The same seed makes the same traces.
std::vector<Trace> makeTraces(unsigned seed, int seconds);

}  // namespace bench
