#pragma once

#include <optional>
#include <string_view>

#include "platform/ui/scene/Geometry.h"

namespace media {

/// Parses a colour of a style sheet or a subtitle format: `#rgb`, `#rrggbb`, `#rrggbbaa`, the same
/// with 16 bits a channel, `rgb(…)`, `rgba(…)`, or a common name.
std::optional<platform::Color> colorOf(std::string_view text);

/// Removes leading blanks and a finite decimal number from the beginning of `text`. Returns nullopt
/// if there is no number, or one of more than a few dozen characters.
std::optional<double> takeNumber(std::string_view& text);

std::string_view trimmed(std::string_view text);

}  // namespace media
