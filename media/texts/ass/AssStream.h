#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <gst/gst.h>

#include "media/texts/ass/AssRenderer.h"

namespace media {

/// Registers an element that passes on the packets of an ASS or SSA stream as they are, in place of
/// GStreamer's own parser, which drops styles and positions. Its caps contain the header.
///
/// Threads: any. Call it once in a process, after gst_init().
void registerAssStream();

/// Returns the header of a stream of that element, or nullopt for any other caps.
std::optional<std::string> assHeaderOf(const GstCaps* caps);

/// Returns the attachments in `tags` that are TrueType or OpenType fonts of at most kFontFileBytes.
std::vector<AttachedFont> fontsOf(const GstTagList* tags);

inline constexpr std::size_t kFontFileBytes = std::size_t{24} << 20;

}  // namespace media
