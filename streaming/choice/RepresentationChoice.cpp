#include "streaming/choice/RepresentationChoice.h"

#include <algorithm>

namespace streaming {
namespace {

/// What a network is taken to give before anything was measured.
constexpr double kUnknownThroughput = 2.5e6;
/// The share of the throughput that a choice relies on, first and later.
constexpr double kStartShare = 0.7;
constexpr double kRiseShare = 0.8;
constexpr double kStayShare = 0.95;
/// Of the deviation, this much is taken off while nothing is ahead; but never more than this share
/// of the throughput.
constexpr double kDeviationWeight = 0.5;
constexpr double kMostTakenOff = 0.4;
/// Shares of the target that are ahead.
constexpr double kRiseAhead = 0.3;
constexpr double kFullAhead = 0.7;
constexpr double kFallAhead = 0.4;
/// Seconds from the start within which a change would be seen as one.
constexpr double kQuietSeconds = 2;
/// Seconds that are to be left when the next segment has come.
constexpr double kLeftAhead = 4;

double steadyThroughput(const ChoiceInput& input) {
  double measured = input.throughput.value_or(kUnknownThroughput);
  const double filled = std::clamp(input.ahead / input.target, 0.0, 1.0);
  // The more is ahead, the sooner a rise is believed, and the less an unsteady network is feared.
  if (input.recent) measured += filled * (*input.recent - measured);
  const double takenOff = std::min(kDeviationWeight * input.deviation, kMostTakenOff * measured);
  return std::max(0.0, measured - (1 - filled) * takenOff - input.otherBandwidth);
}

/// The largest up to `most` that needs no more than `bitrate`.
std::size_t largestWithin(const ChoiceInput& input, std::size_t most, double bitrate) {
  std::size_t chosen = 0;
  for (std::size_t i = 0; i <= most; ++i)
    if (input.options[i].bandwidth <= bitrate) chosen = i;
  return chosen;
}

}  // namespace

std::size_t largestAllowed(const std::vector<ChoiceOption>& options, int displayHeight,
                           int decodableHeight) {
  std::size_t largest = 0;
  for (std::size_t i = 0; i < options.size(); ++i) {
    const int height = options[i].height;
    const bool fits = (displayHeight <= 0 || height <= displayHeight) &&
                      (decodableHeight <= 0 || height <= decodableHeight);
    if (fits) largest = i;
  }
  return largest;
}

std::size_t chooseRepresentation(const ChoiceInput& input) {
  const std::size_t most =
      largestAllowed(input.options, input.displayHeight, input.decodableHeight);
  const double throughput = steadyThroughput(input);
  if (!input.current || *input.current >= input.options.size())
    return largestWithin(input, most, kStartShare * throughput);
  if (*input.current > most) return largestWithin(input, most, kRiseShare * throughput);

  const std::size_t current = *input.current;
  const double needed = input.options[current].bandwidth;
  if (needed > kStayShare * throughput) {
    // How much is left when the next segment has come at this rate.
    const double left = throughput > 0 ? input.ahead - input.segmentDuration * needed / throughput
                                       : -input.segmentDuration;
    const bool isBorne = left >= kLeftAhead && input.ahead >= kFallAhead * input.target;
    if (isBorne) return current;
    return std::min(current, largestWithin(input, most, kRiseShare * throughput));
  }
  if (input.sinceStart < kQuietSeconds || input.ahead < kRiseAhead * input.target) return current;
  const double share = input.ahead >= kFullAhead * input.target ? kStayShare : kRiseShare;
  return std::max(current, largestWithin(input, most, share * throughput));
}

}  // namespace streaming
