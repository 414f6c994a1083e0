#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace streaming {

struct ChoiceOption {
  double bandwidth = 0;  ///< bits per second
  int height = 0;        ///< pixels; 0: unknown
  double frameRate = 0;  ///< 0: unknown
};

struct ChoiceInput {
  std::vector<ChoiceOption> options;   ///< sorted by bandwidth; not empty
  std::optional<std::size_t> current;  ///< the representation of the previous segment
  std::optional<double> throughput;    ///< estimate in bits per second; nullopt: unknown
  std::optional<double> recent;        ///< estimate of the last seconds only
  double deviation = 0;                ///< of the throughput, bits per second
  double otherBandwidth = 0;           ///< of the tracks that are loaded at the same time
  double ahead = 0;                    ///< seconds of media that are buffered
  double target = 30;                  ///< seconds of media to buffer
  double segmentDuration = 4;          ///< seconds
  double sinceStart = 0;               ///< seconds that are played before this segment
  int displayHeight = 0;               ///< 0: no limit
  int decodableHeight = 0;             ///< 0: no limit
};

/// Chooses the representation of the next segment. Switching up requires enough throughput and
/// buffer. Switching down is delayed while the buffer lasts.
std::size_t chooseRepresentation(const ChoiceInput& input);

/// The index of the largest option that fits the display and the decoder.
std::size_t largestAllowed(const std::vector<ChoiceOption>& options, int displayHeight,
                           int decodableHeight);

}  // namespace streaming
