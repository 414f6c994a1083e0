#pragma once

#include <optional>
#include <string>

#include "platform/foundation/Dictionary.h"

namespace scenarios {

/// Compares a value with the expectation of a scenario. Returns the first difference, such as
/// `.item.uuid: expected "A", was "B"`, or nullopt.
///
/// A dictionary may have more keys than expected; an array must have the same size. {"$any": true}
/// matches every value, {"$absent": true} a missing value, {"$near": [number, tolerance]} a number
/// in a range.
std::optional<std::string> mismatch(const platform::Value& expected, const platform::Value& actual);

}  // namespace scenarios
