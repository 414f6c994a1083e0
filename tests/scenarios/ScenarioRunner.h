#pragma once

#include <map>
#include <string_view>

#include "tests/scenarios/Scenario.h"
#include "tests/scenarios/ScenarioBox.h"

namespace scenarios {

/// Takes a scenario through a box, step by step.
///
/// In memory every event has to be expected, in the order in which they come; a real box may send
/// others in between, such as those of a stall.
class ScenarioRunner {
 public:
  ScenarioRunner(const Scenario& scenario, ScenarioBox& box) : _scenario(scenario), _box(box) {}

  /// Nothing when all went as written; otherwise file and line of the step, what was wrong, and all
  /// events so far.
  std::optional<std::string> run();

  /// Executes one step. Throws Failure.
  void take(const std::string& step) { _do(_withVariables(step)); }
  /// Sets the variable that steps use as `$NAME.KEY`.
  void setVariable(const std::string& name, const platform::Dictionary& value) {
    _variables[name] = value;
  }

 private:
  void _do(const std::string& text);
  void _expect(const std::string& what, std::string_view rest);
  void _expectEvent(std::string_view rest);
  void _expectNoEvent();
  std::optional<Event> _nextEvent();
  Call _readCall(std::string_view rest) const;
  std::string _withVariables(const std::string& text);

  const Scenario& _scenario;
  ScenarioBox& _box;
  Answer _answer;  // of the last call
  std::map<std::string, platform::Dictionary, std::less<>> _variables;
  std::vector<Event> _events;
};

}  // namespace scenarios
