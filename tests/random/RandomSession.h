#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace random_sessions {

using Steps = std::vector<std::string>;

struct Result {
  /// The rule that was broken, and the step; empty if all rules were kept.
  std::string fault;
  /// Number of events, by name.
  std::map<std::string, std::size_t> events;
};

/// Runs the steps on a new box in memory, checks the rules after each of them, then ends all
/// sessions, checks that nothing is left, and plays a video. A failed assertion is a broken rule if
/// a sim::AssertionsThrow exists.
Result runSteps(const Steps& steps);

/// Removes steps while `fails` is true for the rest. No step of the result can be left out.
Steps shortened(Steps steps, const std::function<bool(const Steps&)>& fails);

}  // namespace random_sessions
