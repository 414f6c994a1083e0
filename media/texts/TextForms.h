#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

/// The cues of a whole text resource, told apart by how it begins: WebVTT, TTML or SubRip. Nothing
/// for what is none of these.
std::optional<std::vector<SubtitleCue>> cuesOfText(std::string_view bytes);

/// Any text as UTF-8: UTF-16 by its mark, Windows-1252 where it is not valid UTF-8.
std::string utf8Of(std::string_view bytes);

}  // namespace media
