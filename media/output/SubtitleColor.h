#pragma once

#include <optional>
#include <string_view>

#include "platform/ui/scene/Geometry.h"

namespace media {

/// A colour as style sheets and subtitles write it: `#rgb`, `#rrggbb`, `#rrggbbaa`, the same with
/// 16 bits a channel, `rgb(…)`, `rgba(…)`, or one of the common names. Nothing for anything else.
std::optional<platform::Color> colorOf(std::string_view text);

/// A finite decimal number at the beginning of `text`, which loses it; with blanks before it.
/// Nothing where there is none, or one of more than a few dozen characters.
std::optional<double> takeNumber(std::string_view& text);

/// Without blanks and line feeds at both ends.
std::string_view trimmed(std::string_view text);

}  // namespace media
