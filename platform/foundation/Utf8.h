#pragma once

#include <string>
#include <string_view>

namespace platform {

/// Whether `text` is UTF-8 without surrogates, overlong forms and NUL. D-Bus and GLib require the
/// same.
bool isValidText(std::string_view text);

/// Returns `text` with each invalid byte replaced by U+FFFD.
std::string replacingInvalidText(std::string_view text);

/// Whether the first letter of `text` is of a right-to-left script, or it begins with a mark of
/// this direction. Digits and punctuation have no direction.
bool runsRightToLeft(std::string_view text);

}  // namespace platform
