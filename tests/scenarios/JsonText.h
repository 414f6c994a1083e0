#pragma once

#include <string>
#include <string_view>

#include "platform/foundation/Dictionary.h"

namespace scenarios {

// Property-list values as JSON. {"$text": characters} is data, {"$date": seconds since 1970} is a
// date. Numbers without a fraction are integers.

/// Reads one value at the beginning of `text` and removes it with the white space around it. Throws
/// std::runtime_error with the error and the rest of the text.
platform::Value readJson(std::string_view& text);
/// Writes the value on one line. Values of other types are written as their description.
std::string writeJson(const platform::Value& value);

}  // namespace scenarios
