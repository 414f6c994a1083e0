#include "tests/random/RandomSession.h"

#include <algorithm>
#include <iterator>

#include "tests/random/WatchedBox.h"
#include "tests/scenarios/ScenarioRunner.h"

namespace random_sessions {

namespace {

/// Some sessions write all log lines, which formats their arguments.
int logLevel(const Steps& steps) {
  constexpr std::size_t kLoggedSessions = 8;
  return !steps.empty() && steps.front().size() % kLoggedSessions == 0 ? 5 : 3;
}

Steps without(const Steps& steps, std::size_t first, std::size_t count) {
  Steps rest(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(first));
  const auto end = std::min(first + count, steps.size());
  rest.insert(rest.end(), steps.begin() + static_cast<std::ptrdiff_t>(end), steps.end());
  return rest;
}

}  // namespace

Result runSteps(const Steps& steps) {
  WatchedBox box({.logLevel = logLevel(steps)});
  const scenarios::Scenario none;
  scenarios::ScenarioRunner runner(none, box);
  std::string step;
  std::string fault;
  try {
    for (const auto& each : steps) {
      step = each;
      runner.setVariable("request", box.lastRequest());
      runner.take(step);
      box.checkAtRest();
      if (!box.fault().empty()) break;
    }
    if (box.fault().empty()) {
      step = "(the end)";
      box.checkEnd();
    }
    if (box.fault().empty()) {
      step = "(a new video)";
      box.checkPlayback();
    }
    fault = box.fault();
  } catch (const std::exception& exception) {
    fault = box.fault().empty() ? exception.what() : box.fault();
  }
  if (!fault.empty()) fault += "\n  at: " + step;
  return {fault, box.eventCounts()};
}

Steps shortened(Steps steps, const std::function<bool(const Steps&)>& fails) {
  for (std::size_t size = std::max<std::size_t>(steps.size() / 2, 1);;) {
    bool removed = false;
    for (std::size_t first = 0; first < steps.size();) {
      auto rest = without(steps, first, size);
      if (fails(rest)) {
        steps = std::move(rest);
        removed = true;
      } else {
        first += size;
      }
    }
    if (size > 1) {
      size = (size + 1) / 2;
    } else if (!removed) {
      return steps;
    }
  }
}

}  // namespace random_sessions
