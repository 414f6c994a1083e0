#include "fuzz/support/IndexWalk.h"

#include <cmath>
#include <optional>

#include "fuzz/support/FuzzTarget.h"

namespace fuzz {

void walkIndex(const streaming::SegmentIndex& index) {
  constexpr int kMostSegments = 50;
  for (const double now : {0.0, 1e9, 1.7e9, 1e12}) {
    auto segment = index.first({now});
    const auto last = index.last({now});
    for (int count = 0; segment && count < kMostSegments; ++count) {
      require(std::isfinite(segment->start) && std::isfinite(segment->duration) &&
                  segment->duration >= 0,
              "the times of segments are finite");
      static_cast<void>(index.preloadHintAfter(*segment));
      segment = index.after(*segment);
    }
    if (last) static_cast<void>(index.after(*last));
  }
  for (const double time : {-1.0, 0.0, 0.5, 10.0, 1e6, 1e15, 1e300}) {
    const auto segment = index.at(time);
    if (segment) static_cast<void>(index.after(*segment));
  }
}

}  // namespace fuzz
