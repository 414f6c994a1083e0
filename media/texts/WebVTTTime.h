#pragma once

#include <optional>
#include <string_view>

namespace media {

/// Removes the digits at the beginning of `text` and returns them.
std::string_view takeDigits(std::string_view& text);

/// Removes `character` from the beginning of `text`. Returns false if it is not there.
bool takeCharacter(std::string_view& text, char character);

/// Removes a time of WebVTT, such as "01:02.500" or "123:00:02.500", from the beginning of `text`
/// and returns it in seconds.
std::optional<double> takeVTTTime(std::string_view& text);

}  // namespace media
