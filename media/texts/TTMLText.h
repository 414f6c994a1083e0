#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

/// Reads a TTML document: paragraphs and spans with their times (clock, offset, frames, ticks),
/// styles, style references and regions.
///
/// Times of nested elements are relative to the begin of the parent. `timeContainer="seq"` is
/// treated like "par". An error ends the reading; cues read before it are returned. Depth and the
/// numbers of styles, regions and cues are limited. There are no document types and no entities
/// other than the five of XML.
std::vector<SubtitleCue> cuesOfTTML(std::string_view text);

/// Returns whether `beginning`, the first bytes of a text, looks like a TTML document.
bool isTTML(std::string_view beginning);

}  // namespace media
