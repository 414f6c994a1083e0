#pragma once

#include <gst/gst.h>

#include "media/output/SubtitleCue.h"

namespace media {

inline constexpr const char* kCuePayload = "payload";
inline constexpr const char* kCuePayloadBare = "bare";  ///< the payload alone
inline constexpr const char* kCuePayloadWebM = "webm";  ///< after an identifier and a settings line

/// Registers an element that parses the WebVTT and TTML of a track, in place of GStreamer's own
/// parsers, which drop styles and layout.
///
/// Each of its buffers carries a cue; see attachedCue(). Buffer times are in the segment of the
/// stream.
///
/// WebVTT whose cue times are in the buffers, one cue a buffer, has the caps field `kCuePayload`.
///
/// Threads: any. Call it once in a process, after gst_init().
void registerTextStream();

/// Returns the cue of a buffer of that element, or null for any other buffer. The buffer owns it.
const SubtitleCue* attachedCue(GstBuffer* buffer);

}  // namespace media
