#include "tests/scenarios/Match.h"

#include <cmath>
#include <cstddef>

#include "platform/foundation/Value.h"
#include "tests/scenarios/JsonText.h"

namespace scenarios {

using platform::Value;

std::optional<std::string> mismatch(const Value& expected, const Value& actual) {
  const std::string was = actual.isNone() ? "there was none" : "was " + writeJson(actual);
  const std::string wrong = ": expected " + writeJson(expected) + ", " + was;
  const auto* const dictionary = expected.asDictionary();
  if (dictionary && dictionary->contains("$absent"))
    return actual.isNone() ? std::nullopt : std::optional(wrong);
  if (dictionary && dictionary->contains("$any"))
    return actual.isNone() ? std::optional(wrong) : std::nullopt;
  if (const auto near = dictionary ? dictionary->array("$near") : std::nullopt) {
    const auto* const number = actual.asNumber();
    const bool matches = number && near->size() == 2 && (*near)[0].asNumber() &&
                         (*near)[1].asNumber() &&
                         std::abs(number->doubleValue() - (*near)[0].asNumber()->doubleValue()) <=
                             (*near)[1].asNumber()->doubleValue();
    return matches ? std::nullopt : std::optional(wrong);
  }
  if (dictionary && actual.asDictionary()) {
    for (const auto& [key, value] : *dictionary) {
      if (const auto inside = mismatch(value, actual.asDictionary()->get(key)))
        return "." + key + *inside;
    }
    return std::nullopt;
  }
  const auto* const array = expected.asArray();
  if (array && actual.asArray() && array->size() == actual.asArray()->size()) {
    for (std::size_t index = 0; index < array->size(); ++index) {
      if (const auto inside = mismatch((*array)[index], (*actual.asArray())[index]))
        return "[" + std::to_string(index) + "]" + *inside;
    }
    return std::nullopt;
  }
  return expected == actual ? std::nullopt : std::optional(wrong);
}

}  // namespace scenarios
