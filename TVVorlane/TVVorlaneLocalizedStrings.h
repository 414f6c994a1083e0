#pragma once

#include <string>
#include <string_view>

/// Returns the text for `key` in the user's language. Falls back to English for an unsupported
/// language, and to an empty string for an unknown key. UTF-8. Main thread.
std::string TVVorlaneLocalizedString(std::string_view key);
