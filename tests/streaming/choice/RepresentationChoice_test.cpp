#include "streaming/choice/RepresentationChoice.h"

#include <gtest/gtest.h>

#include "streaming/choice/Throughput.h"

namespace streaming {
namespace {

const std::vector<ChoiceOption> kLadder = {
    {0.4e6, 240, 25}, {1e6, 480, 25}, {2.5e6, 720, 25}, {5e6, 1080, 25}, {12e6, 2160, 25}};

struct ChoiceCase {
  const char* name;
  std::optional<std::size_t> current;
  std::optional<double> throughput;
  double ahead;
  double sinceStart;
  int display;
  int decodable;
  std::size_t chosen;
};

TEST(RepresentationChoice, ChoosesByThroughputAndBuffer) {
  const std::vector<ChoiceCase> cases = {
      {"starts with a default without a measurement", {}, {}, 0, 0, 2160, 0, 1},
      {"starts with the estimate", {}, 10e6, 0, 0, 2160, 0, 3},
      {"never above the display", {}, 100e6, 0, 0, 1080, 0, 3},
      {"display height between two sizes", {}, 100e6, 0, 0, 1000, 0, 2},
      {"smallest option when all exceed the display", {}, 100e6, 0, 0, 200, 0, 0},
      {"never above the decodable height", {}, 100e6, 0, 0, 2160, 720, 2},
      {"falls at once to the decodable height", 3, 100e6, 20, 60, 2160, 720, 2},
      {"no rise in the first two seconds", 1, 100e6, 20, 1, 2160, 0, 1},
      {"falls in the first two seconds", 3, 1.5e6, 1, 1, 2160, 0, 1},
      {"no rise with a low buffer", 1, 100e6, 5, 60, 2160, 0, 1},
      {"rise with enough buffer", 1, 100e6, 12, 60, 2160, 0, 4},
      {"no rise without a margin", 2, 5.5e6, 12, 60, 2160, 0, 2},
      {"rise with a small margin and a full buffer", 2, 5.5e6, 28, 60, 2160, 0, 3},
      {"stays while the buffer suffices", 3, 4e6, 25, 60, 2160, 0, 3},
      {"falls when the buffer is low", 3, 4e6, 11, 60, 2160, 0, 2},
      {"falls several steps", 4, 0.1e6, 2, 60, 2160, 0, 0},
      {"stays on the same throughput", 2, 3e6, 12, 60, 2160, 0, 2},
  };
  for (const ChoiceCase& each : cases) {
    SCOPED_TRACE(each.name);
    ChoiceInput input;
    input.options = kLadder;
    input.current = each.current;
    input.throughput = each.throughput;
    input.ahead = each.ahead;
    input.sinceStart = each.sinceStart;
    input.displayHeight = each.display;
    input.decodableHeight = each.decodable;
    EXPECT_EQ(chooseRepresentation(input), each.chosen);
  }
}

TEST(RepresentationChoice, AcceptsUnusualOptions) {
  ChoiceInput input;
  input.options = {{0, 0, 0}};
  input.current = 7;
  input.throughput = 0;
  EXPECT_EQ(chooseRepresentation(input), 0u);
  input.options = {{0, 0, 0}, {0, 0, 0}};
  input.displayHeight = 720;
  EXPECT_LT(chooseRepresentation(input), 2u);
}

TEST(RepresentationChoice, ChoosesLowerBandwidthForAnUnsteadyNetwork) {
  ChoiceInput input;
  input.options = kLadder;
  input.throughput = 8e6;
  EXPECT_EQ(chooseRepresentation(input), 3u);
  input.deviation = 6e6;
  EXPECT_EQ(chooseRepresentation(input), 2u);
}

TEST(Throughput, FollowsADropFasterThanARise) {
  Throughput throughput;
  EXPECT_FALSE(throughput.estimate());
  throughput.setInitialEstimate(5e6);
  EXPECT_EQ(throughput.estimate(), 5e6);
  const auto transfer = [&](double bitrate, double seconds) {
    throughput.add(static_cast<std::uint64_t>(bitrate / 8 * seconds), seconds);
  };
  for (int i = 0; i < 20; ++i) transfer(8e6, 1);
  EXPECT_NEAR(*throughput.estimate(), 8e6, 1e4);
  EXPECT_LT(throughput.deviation(), 1e4);
  for (int i = 0; i < 4; ++i) transfer(1e6, 1);
  EXPECT_LT(*throughput.estimate(), 4e6);
  for (int i = 0; i < 30; ++i) transfer(1e6, 1);
  for (int i = 0; i < 4; ++i) transfer(8e6, 1);
  EXPECT_LT(*throughput.estimate(), 4e6);
  EXPECT_GT(throughput.deviation(), 1e6);
}

TEST(Throughput, SumsUpSmallTransfers) {
  Throughput throughput;
  for (int i = 0; i < 7; ++i) throughput.add(4096, 0.01);
  EXPECT_FALSE(throughput.estimate());
  throughput.add(4096, 0.01);
  EXPECT_NEAR(*throughput.estimate(), 4096 * 8 / 0.01, 1);
}

}  // namespace
}  // namespace streaming
