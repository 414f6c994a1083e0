#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

/// Reads a TTML document: paragraphs and spans with their times (clock, offsets, frames, ticks),
/// styles and style references, regions.
///
/// Nested times count from their parent's beginning; children of a sequence are taken as parallel.
/// What is broken ends the reading, and what has been read by then stands. Bounded: depth, styles,
/// regions, cues. No document types, no references beyond the five of XML.
std::vector<SubtitleCue> cuesOfTTML(std::string_view text);

/// Whether the beginning of a text looks like one.
bool isTTML(std::string_view beginning);

}  // namespace media
