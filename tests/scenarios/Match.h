#pragma once

#include <optional>
#include <string>

#include "platform/foundation/Value.h"

namespace scenarios {

/// Whether `actual` is what a scenario expects: nothing when it is, otherwise where and how it is
/// not, such as `.item.uuid: expected "A", was "B"`.
///
/// A dictionary may hold more than is expected, an array may not. {"$any": true} is anything that
/// is there, {"$absent": true} what is not, {"$near": [number, tolerance]} a number about so large.
std::optional<std::string> mismatch(const platform::Value& expected, const platform::Value& actual);

}  // namespace scenarios
