// Runs every file of tests/scenarios on the box in memory.

#include <gtest/gtest.h>

#include "tests/scenarios/ScenarioRunner.h"
#include "tests/scenarios/sim/SimScenarioBox.h"

namespace {

class Scenarios : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(Scenarios, PassOnTheBoxInMemory) {
  const auto scenario = scenarios::Scenario::read(GetParam());
  SimScenarioBox box;
  const auto failure = scenarios::ScenarioRunner(scenario, box).run();
  EXPECT_FALSE(failure) << *failure;
}

INSTANTIATE_TEST_SUITE_P(Files, Scenarios, testing::ValuesIn(scenarios::scenarioFiles()),
                         [](const auto& file) { return scenarios::scenarioName(file.param); });

}  // namespace
