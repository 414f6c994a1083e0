#pragma once

#include <string>
#include <string_view>

/// The text for `key` in the user's language, in English where that language has none, and empty
/// for an unknown key. UTF-8. Main thread.
std::string TVVorlaneLocalizedString(std::string_view key);
