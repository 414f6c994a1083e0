#pragma once

#include <string>
#include <string_view>

namespace platform {

/// Whether a text is UTF-8 without surrogates, overlong forms and NUL. D-Bus strings and GLib
/// demand the same.
bool isValidText(std::string_view text);

/// The text with U+FFFD in place of what isValidText() rejects.
std::string replacingInvalidText(std::string_view text);

}  // namespace platform
