#include "tests/scenarios/ScenarioBox.h"

namespace scenarios {

namespace {
[[noreturn]] void inMemoryOnly() { throw Failure("only the box in memory can do that"); }
}  // namespace

platform::Value Call::optional(std::size_t index) const {
  return index < arguments.size() ? arguments[index] : platform::Value();
}

platform::Dictionary Call::dictionary(std::size_t index) const {
  const auto value = optional(index);
  if (!value.asDictionary()) throw Failure(method + " takes a dictionary");
  return *value.asDictionary();
}

std::string Call::string(std::size_t index) const {
  const auto value = optional(index);
  if (!value.asString()) throw Failure(method + " takes a string");
  return *value.asString();
}

double Call::number(std::size_t index) const {
  const auto value = optional(index);
  if (!value.asNumber()) throw Failure(method + " takes a number");
  return value.asNumber()->doubleValue();
}

void ScenarioBox::begin(const Call&) { inMemoryOnly(); }
std::optional<std::int32_t> ScenarioBox::statusOfBegun() { inMemoryOnly(); }
std::vector<std::string> ScenarioBox::screen() { inMemoryOnly(); }
std::string ScenarioBox::title() { inMemoryOnly(); }
std::string ScenarioBox::message() { inMemoryOnly(); }
std::vector<std::string> ScenarioBox::journal(const std::string&) { inMemoryOnly(); }
void ScenarioBox::advance(platform::Duration) { inMemoryOnly(); }
void ScenarioBox::host(const std::vector<std::string>&) { inMemoryOnly(); }
void ScenarioBox::system(const std::vector<std::string>&) { inMemoryOnly(); }

}  // namespace scenarios
