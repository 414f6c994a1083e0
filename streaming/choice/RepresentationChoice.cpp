#include "streaming/choice/RepresentationChoice.h"

#include <algorithm>

namespace streaming {
namespace {

/// Assumed throughput before the first measurement.
constexpr double kUnknownThroughput = 2.5e6;
/// The share of the throughput that a representation may use: at the start, to switch up, to stay.
constexpr double kStartShare = 0.7;
constexpr double kRiseShare = 0.8;
constexpr double kStayShare = 0.95;
/// An empty buffer reduces the throughput by this share of its deviation, but at most by this share
/// of the throughput.
constexpr double kDeviationWeight = 0.5;
constexpr double kMaxReduction = 0.4;
/// Buffer levels, as shares of the target.
constexpr double kRiseBuffer = 0.3;
constexpr double kFullBuffer = 0.7;
constexpr double kFallBuffer = 0.4;
/// There is no switch up within these seconds after the start, because the viewer would notice it.
constexpr double kNoRiseSeconds = 2;
/// Seconds that must remain buffered when the next segment has arrived.
constexpr double kMinBuffer = 4;

double steadyThroughput(const ChoiceInput& input) {
  double measured = input.throughput.value_or(kUnknownThroughput);
  const double filled = std::clamp(input.ahead / input.target, 0.0, 1.0);
  // A full buffer allows faster reactions: the fast average counts more, the deviation less.
  if (input.recent) measured += filled * (*input.recent - measured);
  const double reduction = std::min(kDeviationWeight * input.deviation, kMaxReduction * measured);
  return std::max(0.0, measured - (1 - filled) * reduction - input.otherBandwidth);
}

/// The index of the largest option up to `most` that fits into `bitrate`.
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
    // The buffer level when the next segment has arrived at the current throughput.
    const double left = throughput > 0 ? input.ahead - input.segmentDuration * needed / throughput
                                       : -input.segmentDuration;
    const bool bufferSuffices = left >= kMinBuffer && input.ahead >= kFallBuffer * input.target;
    if (bufferSuffices) return current;
    return std::min(current, largestWithin(input, most, kRiseShare * throughput));
  }
  if (input.sinceStart < kNoRiseSeconds || input.ahead < kRiseBuffer * input.target) return current;
  const double share = input.ahead >= kFullBuffer * input.target ? kStayShare : kRiseShare;
  return std::max(current, largestWithin(input, most, share * throughput));
}

}  // namespace streaming
