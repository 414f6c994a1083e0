// Tests the scenario language: a step that fails reports its location.

#include <deque>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/JsonText.h"
#include "tests/scenarios/Match.h"
#include "tests/scenarios/ScenarioRunner.h"

using platform::Dictionary;
using platform::Value;
using scenarios::Answer;
using scenarios::Call;
using scenarios::Event;
using testing::HasSubstr;

namespace {

/// Returns status 5 and the arguments for every call, and posts an event.
class Echo final : public scenarios::ScenarioBox {
 public:
  bool isReal() const override { return real; }
  std::string mediaRoot() override { return "http://here"; }
  void addMedia(const std::string&, const Dictionary&) override {}
  Answer call(const Call& call) override {
    const Dictionary info{{"value", call.optional(0)}, {"n", 3}};
    events.push_back({call.method, info});
    return {call.method == "GetProperty" ? 0 : 5, info};
  }
  std::optional<Event> nextEvent() override {
    if (events.empty()) return std::nullopt;
    const Event event = events.front();
    events.pop_front();
    return event;
  }
  bool findInLog(const std::string& text) override { return text == "there"; }
  std::string state(const std::string&) override { return "Background"; }
  std::size_t sessions(std::size_t) override { return 2; }
  bool hasPicture(bool) override { return true; }
  void settle() override {}
  void press(const std::string&) override {}
  void swipe(const std::string&) override {}

  bool real = false;
  std::deque<Event> events;
};

std::string run(const std::vector<std::string>& lines, bool real = false) {
  scenarios::Scenario scenario{"file", false, {}};
  for (const auto& line : lines) scenario.steps.push_back({10, {}, line});
  Echo box;
  box.real = real;
  return scenarios::ScenarioRunner(scenario, box).run().value_or("holds");
}

TEST(ScenarioLanguage, FailedStepsReportTheirLocation) {
  const std::string call = "call A \"x\"";
  const struct {
    std::vector<std::string> lines;
    std::string in_memory;
    std::string on_box;
  } cases[] = {
      {{call, "expect status 5", "expect event A {\"value\": \"x\"}"}, "holds", "holds"},
      {{call, "expect status 0"}, "expected 0, was 5", "expected 0, was 5"},
      {{call}, "(the end)\n  expected no event, was A", "holds"},
      {{call, "expect no event"}, "file:10: expect no event", "holds"},
      {{call, "call B", "expect event B"}, "expected the event B, was A", "holds"},
      {{call, "expect event B"}, "the event B", "the event B, there was none"},
      {{call, "expect event A {\"n\": 4}"}, ".n: expected 4, was 3", "there was none"},
      {{call, "expect event A and more"}, "unexpected 'and more'", "unexpected 'and more'"},
      {{call, "expect event A as first", "call C $first.value", "expect out {\"value\": \"x\"}",
        "expect event C"},
       "holds",
       "holds"},
      {{"call C $first.value"}, "there is no $first.value", "there is no $first.value"},
      {{"call C \"$media/a\"", "expect event C {\"value\": \"http://here/a\"}"}, "holds", "holds"},
      {{"expect property p {\"n\": 3}", "expect event GetProperty"}, "holds", "holds"},
      {{"expect property p {\"n\": 3, \"m\": 1}"}, "p.m: expected 1, there was none", "p.m"},
      {{"expect log \"elsewhere\""}, "not in the log", "not in the log"},
      {{"expect state Foreground"}, "expected Foreground, was Background", "was Background"},
      {{"expect no picture"}, "was a picture", "was a picture"},
      {{"expect screen video"}, "only the box in memory", "only the box in memory"},
      {{"advance 5 parsecs"}, "no duration", "holds"},
      {{"expect nothing"}, "there is no 'expect nothing'", "there is no"},
      {{"dance"}, "there is no step 'dance'", "there is no step 'dance'"},
      {{"call A {\"x\" 1}"}, "expected ':' at '1}'", "expected ':'"},
  };
  for (const auto& [lines, inMemory, onBox] : cases) {
    SCOPED_TRACE(testing::PrintToString(lines));
    EXPECT_THAT(run(lines), HasSubstr(inMemory));
    EXPECT_THAT(run(lines, true), HasSubstr(onBox));
  }
}

TEST(ScenarioLanguage, Matches) {
  const auto matches = [](std::string_view expected, std::string_view actual) {
    return !scenarios::mismatch(scenarios::readJson(expected), scenarios::readJson(actual));
  };
  EXPECT_TRUE(matches(R"({"a": {"b": 1}})", R"({"c": 2, "a": {"b": 1.0, "d": 2}})"));
  EXPECT_FALSE(matches(R"({"a": {"b": 1}})", R"({"a": {"b": "1"}})"));
  EXPECT_FALSE(matches("[1]", "[1, 2]"));
  EXPECT_TRUE(matches(R"({"a": {"$any": true}, "b": {"$absent": true}})", R"({"a": null})"));
  EXPECT_FALSE(matches(R"({"a": {"$any": true}})", "{}"));
  EXPECT_FALSE(matches(R"({"a": {"$absent": true}})", R"({"a": 1})"));
  EXPECT_TRUE(matches(R"({"$near": [3, 0.25]})", "3.25"));
  EXPECT_FALSE(matches(R"({"$near": [3, 0.2]})", "3.3"));
  EXPECT_FALSE(matches(R"({"$near": [3, 0.2]})", "\"3\""));
}

}  // namespace
