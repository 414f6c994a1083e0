#include "tests/scenarios/ScenarioRunner.h"

#include <algorithm>
#include <regex>
#include <sstream>
#include <utility>

#include "tests/scenarios/JsonText.h"
#include "tests/scenarios/Match.h"

namespace scenarios {

using platform::Dictionary;
using platform::Value;

namespace {

/// Limit of other events of a real box before the expected one.
constexpr int kEventLimit = 1000;

/// The word at the front of `text`, which loses it and the space behind it.
std::string takeWord(std::string_view& text) {
  const auto length = std::min(text.find(' '), text.size());
  std::string word(text.substr(0, length));
  text.remove_prefix(std::min(text.find_first_not_of(' ', length), text.size()));
  return word;
}

std::vector<std::string> words(std::string_view text) {
  std::vector<std::string> found;
  while (!text.empty()) found.push_back(takeWord(text));
  return found;
}

std::vector<Value> readValues(std::string_view text) {
  std::vector<Value> values;
  while (!text.empty()) values.push_back(readJson(text));
  return values;
}

Value readValue(std::string_view text) {
  auto values = readValues(text);
  if (values.size() != 1) throw Failure("one value was expected here");
  return values.front();
}

std::string jsonStringOf(std::string_view text) {
  const Value value = readValue(text);
  if (!value.asString()) throw Failure("a string was expected here");
  return *value.asString();
}

/// `250ms`, `5s` or `2min`.
platform::Duration duration(const std::string& text) {
  std::istringstream input(text);
  double value = 0;
  std::string unit;
  if (!(input >> value >> unit)) throw Failure("no duration: " + text);
  if (unit == "ms") return platform::durationFromSeconds(value / 1000);
  if (unit == "s") return platform::durationFromSeconds(value);
  if (unit == "min") return platform::durationFromSeconds(value * 60);
  throw Failure("no duration: " + text);
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const auto& text : texts) all += (all.empty() ? "" : " ") + text;
  return all.empty() ? "nothing" : all;
}

void require(bool holds, const std::string& expected, const std::string& actual) {
  if (!holds) throw Failure("expected " + expected + ", was " + actual);
}

void requireMatch(const std::string& what, const Value& expected, const Value& actual) {
  if (const auto wrong = mismatch(expected, actual))
    throw Failure(what + *wrong + "\n  whole: " + writeJson(actual));
}

}  // namespace

std::optional<std::string> ScenarioRunner::run() {
  int line = 0;
  std::string text;
  try {
    for (const auto& step : _scenario.steps) {
      const auto other = _box.isReal() ? Step::Where::Sim : Step::Where::Box;
      if (step.where == other) continue;
      line = step.line;
      text = step.text;
      _do(_withVariables(step.text));
    }
    text = "(the end)";
    if (!_box.isReal()) _expectNoEvent();
    return std::nullopt;
  } catch (const std::exception& failure) {
    std::string report =
        _scenario.file + ":" + std::to_string(line) + ": " + text + "\n  " + failure.what();
    while (const auto event = _box.isReal() ? std::nullopt : _box.nextEvent())
      _events.push_back(*event);
    report += "\n  events:";
    for (const auto& event : _events) report += "\n    " + event.name + " " + writeJson(event.info);
    return report;
  }
}

std::string ScenarioRunner::_withVariables(const std::string& text) {
  if (text.find('$') == std::string::npos) return text;
  static const std::regex kVariable(R"re(\$([a-z]+)\.([A-Za-z_]+))re");
  static const std::regex kMedia(R"re(\$media/)re");
  std::string result;
  std::smatch found;
  std::string rest = text;
  while (std::regex_search(rest, found, kVariable)) {
    const auto variable = _variables.find(found[1].str());
    const Value value =
        variable == _variables.end() ? Value() : variable->second.get(found[2].str());
    if (value.isNone()) throw Failure("there is no " + found[0].str());
    result += found.prefix().str() + writeJson(value);
    rest = found.suffix().str();
  }
  result += rest;
  if (result.find("$media/") == std::string::npos) return result;
  return std::regex_replace(result, kMedia, _box.mediaRoot() + "/");
}

Call ScenarioRunner::_readCall(std::string_view rest) const {
  Call call;
  call.method = takeWord(rest);
  call.arguments = readValues(rest);
  return call;
}

void ScenarioRunner::_do(const std::string& text) {
  std::string_view rest = text;
  const std::string verb = takeWord(rest);
  if (verb == "expect") {
    const std::string what = takeWord(rest);
    _expect(what, rest);
  } else if (verb == "call") {
    _answer = _box.call(_readCall(rest));
  } else if (verb == "begin") {
    _box.begin(_readCall(rest));
  } else if (verb == "media") {
    const std::string name = takeWord(rest);
    const Value script = readValue(rest);
    if (!script.asDictionary()) throw Failure("a dictionary was expected here");
    _box.addMedia(name, *script.asDictionary());
  } else if (verb == "advance") {
    // On a real box time passes by itself, and what is expected next is waited for.
    if (!_box.isReal()) _box.advance(duration(std::string(rest)));
  } else if (verb == "settle") {
    _box.settle();
  } else if (verb == "press") {
    _box.press(std::string(rest));
  } else if (verb == "swipe") {
    _box.swipe(std::string(rest));
  } else if (verb == "host") {
    _box.host(words(rest));
  } else if (verb == "system") {
    _box.system(words(rest));
  } else {
    throw Failure("there is no step '" + verb + "'");
  }
}

void ScenarioRunner::_expect(const std::string& what, std::string_view rest) {
  if (what == "status") {
    const std::string actual = std::to_string(_answer.status);
    require(actual == rest, std::string(rest), actual + " with " + writeJson(_answer.value));
  } else if (what == "begun") {
    const auto status = _box.statusOfBegun();
    const std::string actual = status ? std::to_string(*status) : "waiting";
    require(actual == rest, std::string(rest), actual);
  } else if (what == "out") {
    requireMatch("out", readValue(rest), _answer.value);
  } else if (what == "property") {
    const std::string name = takeWord(rest);
    const Answer answer = _box.call({"GetProperty", {name}});
    require(answer.status == 0, "status 0", std::to_string(answer.status));
    requireMatch(name, readValue(rest), answer.value);
  } else if (what == "event") {
    _expectEvent(rest);
  } else if (what == "no") {
    const std::string thing = takeWord(rest);
    if (thing == "picture") {
      require(!_box.hasPicture(false), "nothing on screen", "a picture");
    } else if (thing == "event") {
      // A real box may send what it likes between two steps.
      if (!_box.isReal()) _expectNoEvent();
    } else {
      throw Failure("there is no 'expect no " + thing + "'");
    }
  } else if (what == "picture") {
    require(_box.hasPicture(true), "a picture", "nothing on screen");
  } else if (what == "log") {
    const std::string text = jsonStringOf(rest);
    require(_box.findInLog(text), "the line '" + text + "'", "not in the log");
  } else if (what == "state") {
    const std::string actual = _box.state(std::string(rest));
    require(actual == rest, std::string(rest), actual);
  } else if (what == "sessions") {
    const std::string wanted(rest);
    const std::string actual = std::to_string(_box.sessions(std::stoul(wanted)));
    require(actual == wanted, wanted, actual);
  } else if (what == "screen") {
    const std::string actual = joined(_box.screen());
    require(actual == rest, std::string(rest), actual);
  } else if (what == "title") {
    require(_box.title() == readString(rest), std::string(rest), "'" + _box.title() + "'");
  } else if (what == "message") {
    require(_box.message() == readString(rest), std::string(rest), "'" + _box.message() + "'");
  } else if (what == "journal") {
    const auto values = readValues(rest);
    for (const auto& value : values) {
      if (!value.asString()) throw Failure("strings were expected here");
      const auto entries = _box.journal(*value.asString());
      require(!entries.empty(), "'" + *value.asString() + "' asked of a service", "not there");
    }
  } else {
    throw Failure("there is no 'expect " + what + "'");
  }
}

std::optional<Event> ScenarioRunner::_nextEvent() {
  auto event = _box.nextEvent();
  if (event) _events.push_back(*event);
  return event;
}

void ScenarioRunner::_expectEvent(std::string_view rest) {
  const std::string name = takeWord(rest);
  Value info = Dictionary();
  if (rest.starts_with('{')) info = readJson(rest);
  std::string variable;
  if (rest.starts_with("as ")) {
    takeWord(rest);
    variable = takeWord(rest);
  }
  if (!rest.empty()) throw Failure("unexpected '" + std::string(rest) + "'");
  auto event = _nextEvent();
  for (int others = 0; _box.isReal() && event && others < kEventLimit; ++others) {
    if (event->name == name && !mismatch(info, event->info)) break;
    event = _nextEvent();
  }
  if (!event) throw Failure("expected the event " + name + ", there was none");
  require(event->name == name, "the event " + name, event->name);
  requireMatch("info", info, event->info);
  if (!variable.empty()) _variables[variable] = event->info;
}

void ScenarioRunner::_expectNoEvent() {
  if (const auto event = _nextEvent())
    throw Failure("expected no event, was " + event->name + " " + writeJson(event->info));
}

}  // namespace scenarios
