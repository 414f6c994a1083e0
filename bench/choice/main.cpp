// Simulates streaming over generated network traces in virtual time with several adaptation
// algorithms. Prints start time, stalls, bitrate and switches.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "bench/choice/Traces.h"
#include "streaming/choice/RepresentationChoice.h"
#include "streaming/choice/Throughput.h"

namespace bench {
namespace {

using streaming::ChoiceInput;

constexpr double kSegmentSeconds = 4;
constexpr double kTarget = 30;
constexpr double kStep = 0.05;
constexpr double kLatency = 0.06;

using Choose = std::function<std::size_t(const ChoiceInput& input)>;

struct Outcome {
  double startSeconds = 0;
  int stalls = 0;
  double stallSeconds = 0;
  double meanBitrate = 0;
  int switches = 0;
};

std::size_t largestUpTo(const ChoiceInput& input, double bitrate) {
  std::size_t chosen = 0;
  for (std::size_t i = 0; i < input.options.size(); ++i)
    if (input.options[i].bandwidth <= bitrate) chosen = i;
  return chosen;
}

/// Uses only the throughput.
std::size_t byThroughput(const ChoiceInput& input) {
  return largestUpTo(input, 0.9 * input.throughput.value_or(1e6));
}

/// Uses only the buffer: lowest representation at 5 s, highest at 25 s.
std::size_t byBuffer(const ChoiceInput& input) {
  const double share = std::clamp((input.ahead - 5) / 20, 0.0, 1.0);
  return static_cast<std::size_t>(
      std::lround(share * static_cast<double>(input.options.size() - 1)));
}

/// Plays media of the length of the trace.
Outcome play(const Trace& trace, const Choose& choose) {
  streaming::Throughput throughput;
  ChoiceInput input;
  input.options = {
      {0.4e6, 240, 25}, {0.9e6, 360, 25}, {1.8e6, 480, 25}, {3.2e6, 720, 25}, {5.2e6, 1080, 25}};
  input.segmentDuration = kSegmentSeconds;
  input.target = kTarget;
  Outcome outcome;
  double now = 0;
  double played = 0;
  double loaded = 0;
  bool isPlaying = false;
  const auto pass = [&](double seconds) {
    now += seconds;
    if (!isPlaying) {
      if (loaded > 0) outcome.stallSeconds += seconds;
      return;
    }
    played += seconds;
    if (played < loaded) return;
    played = loaded;
    isPlaying = false;
    ++outcome.stalls;
  };
  const auto count = static_cast<int>(static_cast<double>(trace.bitrates.size()) / kSegmentSeconds);
  for (int i = 0; i < count; ++i) {
    while (loaded - played > kTarget) pass(kStep);
    input.throughput = throughput.estimate();
    input.recent = throughput.recent();
    input.deviation = throughput.deviation();
    input.ahead = loaded - played;
    input.sinceStart = loaded;
    const std::size_t chosen = choose(input);
    if (input.current && *input.current != chosen) ++outcome.switches;
    input.current = chosen;
    const double bits = input.options[chosen].bandwidth * kSegmentSeconds;
    for (double waited = 0; waited < kLatency; waited += kStep) pass(std::min(kStep, kLatency));
    const double began = now;
    double rest = bits;
    while (rest > 0) {
      rest -= trace.at(now) * kStep;
      pass(kStep);
    }
    throughput.add(static_cast<std::uint64_t>(bits / 8), now - began);
    loaded += kSegmentSeconds;
    outcome.meanBitrate += input.options[chosen].bandwidth / count;
    if (i == 0) outcome.startSeconds = now;
    isPlaying = true;
  }
  return outcome;
}

void printTable(unsigned seed, int seconds) {
  const std::pair<const char*, Choose> choices[] = {{"ours", streaming::chooseRepresentation},
                                                    {"throughput only", byThroughput},
                                                    {"buffer only", byBuffer}};
  std::printf("%-34s %-16s %7s %7s %9s %7s %9s\n", "trace", "choice", "start s", "stalls",
              "stalled s", "Mbit/s", "switches");
  for (const Trace& trace : makeTraces(seed, seconds)) {
    for (const auto& [name, choose] : choices) {
      const Outcome outcome = play(trace, choose);
      std::printf("%-34s %-16s %7.1f %7d %9.1f %7.2f %9d\n", trace.name.c_str(), name,
                  outcome.startSeconds, outcome.stalls, outcome.stallSeconds,
                  outcome.meanBitrate / 1e6, outcome.switches);
    }
  }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  const unsigned seed = argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 1;
  const int seconds = argc > 2 ? std::atoi(argv[2]) : 600;
  bench::printTable(seed, std::clamp(seconds, 8, 36000));
  return 0;
}
