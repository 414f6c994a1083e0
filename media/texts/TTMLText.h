#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

/// Reads a TTML document of the text and image profiles of IMSC 1.1: regions, styles and their
/// references, ruby, emphasis, vertical text, and PNG images as base64.
///
/// Lengths are in `%`, `px`, `c`, `em`, `rw` and `rh`. Without a font size, the text has the
/// screen's own size. Times are clock times, offsets, frames and ticks; those of nested elements
/// are relative to the parent, or to its previous child if it is a sequence. A paragraph that
/// changes (by the times of its spans, or by `set` elements in it, around it or in its region)
/// becomes several cues. `animate` is not supported.
///
/// An error ends the reading; cues read before it are returned. Depth and the numbers of styles,
/// regions, spans and cues are limited. There are no document types and no entities other than the
/// five of XML.
std::vector<SubtitleCue> cuesOfTTML(std::string_view text);

/// Reads a sample of a container: a document, and the PNG images that follow it.
std::vector<SubtitleCue> cuesOfTTMLSample(std::string_view bytes);

/// Returns whether `beginning`, the first bytes of a text, looks like a TTML document.
bool isTTML(std::string_view beginning);

}  // namespace media
