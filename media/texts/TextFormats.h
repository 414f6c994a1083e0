#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

struct TextContent {
  std::vector<SubtitleCue> cues;
  std::string ass;  ///< a document of ASS or SSA in UTF-8, which is not read into cues
};

/// Reads a text resource. The format (WebVTT, TTML, SubRip or ASS) is detected by its beginning.
/// Returns nullopt for any other format.
std::optional<TextContent> contentOfText(std::string_view bytes);
/// Returns its cues only.
std::optional<std::vector<SubtitleCue>> cuesOfText(std::string_view bytes);

/// Converts a text to UTF-8: from UTF-16 or UTF-32 if it has a byte order mark, otherwise, if it is
/// not valid UTF-8, from the encoding that uchardet detects in its first 64 KiB. Windows-1252 if it
/// detects none. NUL characters are removed.
std::string utf8Of(std::string_view bytes);

}  // namespace media
