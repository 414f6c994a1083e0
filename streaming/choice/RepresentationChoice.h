#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace streaming {

/// A representation, as the choice sees it.
struct ChoiceOption {
  double bandwidth = 0;  ///< bits a second
  int height = 0;        ///< pixels; 0 when unknown
  double frameRate = 0;  ///< 0 when unknown
};

struct ChoiceInput {
  std::vector<ChoiceOption> options;   ///< by bandwidth; at least one
  std::optional<std::size_t> current;  ///< of the segment before
  std::optional<double> throughput;    ///< bits a second; none: nothing is known
  std::optional<double> recent;        ///< of the last seconds alone
  double deviation = 0;                ///< of the throughput
  double otherBandwidth = 0;           ///< of what is fetched beside it
  double ahead = 0;                    ///< seconds that are loaded and not played yet
  double target = 30;                  ///< seconds that are to be loaded ahead, at most
  double segmentDuration = 4;          ///< seconds
  double sinceStart = 0;               ///< seconds that are played before this segment is
  int displayHeight = 0;               ///< 0: no limit
  int decodableHeight = 0;             ///< 0: no limit
};

/// Which representation the next segment is fetched of. A rise needs a throughput that carries it
/// with some to spare and some seconds ahead; a fall waits as long as what is ahead bears it.
std::size_t chooseRepresentation(const ChoiceInput& input);

/// The largest option that display and decoder allow: those up to it may be chosen.
std::size_t largestAllowed(const std::vector<ChoiceOption>& options, int displayHeight,
                           int decodableHeight);

}  // namespace streaming
