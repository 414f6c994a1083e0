#pragma once

#include <string>
#include <string_view>

namespace box {

/// Whether a text can stand in a D-Bus string: UTF-8 without surrogates, overlong forms and NUL.
bool isBusText(std::string_view text);

/// The text with U+FFFD in place of what isBusText() does not allow.
std::string replacingInvalidText(std::string_view text);

}  // namespace box
