#include "tests/scenarios/sim/SimMediaScript.h"

#include <functional>
#include <map>
#include <string>

#include "sim/VirtualClock.h"
#include "tests/scenarios/ScenarioBox.h"

using platform::Dictionary;
using platform::Error;
using platform::Value;
using scenarios::Failure;

namespace {

double number(const Value& value) {
  if (!value.asNumber()) throw Failure("a number was expected in the script");
  return value.asNumber()->doubleValue();
}

const platform::Array& array(const Value& value) {
  if (!value.asArray()) throw Failure("an array was expected in the script");
  return *value.asArray();
}

/// Two numbers.
std::pair<double, double> pair(const Value& value) {
  const auto& both = array(value);
  if (both.size() != 2) throw Failure("two numbers were expected in the script");
  return {number(both[0]), number(both[1])};
}

Error urlError(double code) {
  return {std::string(platform::kURLErrorDomain), static_cast<std::int64_t>(code), {}, {}, {}};
}

sim::MediaScript::Request request(const Value& value) {
  using Kind = sim::MediaScript::Request::Kind;
  if (!value.asDictionary()) throw Failure("a dictionary was expected in the script");
  const auto& fields = *value.asDictionary();
  sim::MediaScript::Request request;
  request.url = fields.string("url").value_or("");
  request.kind = fields.string("kind") == "key" ? Kind::Key : Kind::Resource;
  if (fields.contains("position")) request.position = number(fields.get("position"));
  if (fields.contains("keyFailure"))
    request.keyFailure = urlError(number(fields.get("keyFailure")));
  return request;
}

platform::MediaSelectionGroup soundGroup() {
  platform::MediaSelectionGroup group;
  group.characteristic = "audible";
  for (const char* language : {"en", "de"}) {
    platform::MediaSelectionOption option;
    option.identifier = option.languageTag = option.displayName = language;
    group.options.push_back(option);
  }
  group.selected = 0;
  return group;
}

using Reader = std::function<void(sim::MediaScript&, const Value&)>;

const std::map<std::string, Reader>& readers() {
  static const std::map<std::string, Reader> table = {
      {"duration", [](auto& script, auto& value) { script.duration = number(value); }},
      {"loadDelay", [](auto& script, auto& value) { script.loadDelay = number(value); }},
      {"seekDelay", [](auto& script, auto& value) { script.seekDelay = number(value); }},
      {"live", [](auto& script, auto& value) { script.liveWindow = number(value); }},
      {"dates", [](auto& script,
                   auto&) { script.startDate = platform::Date{sim::VirtualClock::kStartSeconds}; }},
      {"sound",
       [](auto& script, auto&) {
         script.tracks = {{1, "audio", "aac", true}};
       }},
      {"options", [](auto& script, auto&) { script.selectionGroups = {soundGroup()}; }},
      {"stalls",
       [](auto& script, auto& value) {
         for (const auto& entry : array(value))
           script.stalls.push_back({pair(entry).first, pair(entry).second});
       }},
      {"failure",
       [](auto& script, auto& value) {
         script.failure = {pair(value).first, urlError(pair(value).second)};
       }},
      {"loadFailure",
       [](auto& script, auto& value) { script.loadFailure = urlError(number(value)); }},
      {"requests",
       [](auto& script, auto& value) {
         for (const auto& entry : array(value)) script.requests.push_back(request(entry));
       }},
  };
  return table;
}

}  // namespace

sim::MediaScript simMediaScript(const Dictionary& fields) {
  sim::MediaScript script;
  for (const auto& [key, value] : fields) {
    const auto reader = readers().find(key);
    if (reader == readers().end()) throw Failure("a medium has no '" + key + "'");
    reader->second(script, value);
  }
  return script;
}
