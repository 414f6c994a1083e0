// Random sessions with fixed seeds. vorlane-random runs more of them.

#include <algorithm>

#include <gtest/gtest.h>

#include "sim/AssertionsThrow.h"
#include "tests/random/RandomSession.h"
#include "tests/random/RandomSteps.h"

namespace {

using random_sessions::Steps;

constexpr std::uint64_t kSessions = 200;
constexpr std::size_t kCalls = 30;

/// The parameter is the first seed.
class RandomSessions : public testing::TestWithParam<std::uint64_t> {};

TEST_P(RandomSessions, KeepAllRules) {
  const sim::AssertionsThrow assertionsThrow;
  for (std::uint64_t seed = GetParam(); seed < GetParam() + kSessions; ++seed) {
    const auto result = random_sessions::runSteps(random_sessions::randomSteps(seed, kCalls));
    ASSERT_EQ(result.fault, "") << "vorlane-random --seed " << seed << " --sessions 1 --calls "
                                << kCalls;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomSessions, testing::Range<std::uint64_t>(0, 2000, kSessions));

TEST(RandomSession, IsShortenedToTheStepsOfTheFault) {
  Steps steps;
  for (int index = 0; index < 100; ++index) steps.push_back(std::to_string(index));
  const auto holds = [](const Steps& rest, const char* step) {
    return std::find(rest.begin(), rest.end(), step) != rest.end();
  };
  const auto rest = random_sessions::shortened(
      steps, [&](const Steps& some) { return holds(some, "17") && holds(some, "83"); });
  EXPECT_EQ(rest, (Steps{"17", "83"}));
}

TEST(RandomSession, ReportsABrokenRuleAndItsStep) {
  const auto result = random_sessions::runSteps({"advance 1s", "expect sessions 1"});
  EXPECT_EQ(result.fault, "expected 1, was 0\n  at: expect sessions 1");
}

}  // namespace
