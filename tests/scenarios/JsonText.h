#pragma once

#include <string>
#include <string_view>

#include "platform/foundation/Value.h"

namespace scenarios {

/// Property-list values as JSON, with {"$text": characters, read as data} and {"$date": seconds
/// since 1970}. Numbers without a fraction are integers.
///
/// Reading throws std::runtime_error with what is wrong and the rest of the text.

/// Takes one value from the front of `text`, and the white space around it.
platform::Value readJson(std::string_view& text);
/// On one line. What JSON and the forms above do not have is written as its description.
std::string writeJson(const platform::Value& value);

}  // namespace scenarios
