#pragma once

#include <gst/gst.h>

#include "media/output/SubtitleCue.h"

namespace media {

/// The field of the caps of WebVTT whose cue times are in the buffers, as in WebM: each buffer has
/// a line with the identifier, a line with the settings, and the text of a cue.
inline constexpr const char* kCuePayload = "payload";
inline constexpr const char* kCuePayloadWebM = "webm";

/// Registers an element that parses the WebVTT and TTML of a track, in place of GStreamer's own
/// parsers, which drop styles and layout.
///
/// Each of its buffers carries a cue; see attachedCue(). Buffer times are in the segment of the
/// stream.
///
/// Threads: any. Call it once in a process, after gst_init().
void registerTextStream();

/// Returns the cue of a buffer of that element, or null for any other buffer. The buffer owns it.
const SubtitleCue* attachedCue(GstBuffer* buffer);

}  // namespace media
