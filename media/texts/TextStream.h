#pragma once

#include <gst/gst.h>

#include "media/output/SubtitleCue.h"

namespace media {

inline constexpr const char* kTextPieces = "pieces";
inline constexpr const char* kTextPiecesBare = "bare";  ///< the payload alone
inline constexpr const char* kTextPiecesWebM = "webm";  ///< after an identifier and a settings line

/// Registers an element that parses the WebVTT and TTML of a track, in place of GStreamer's own
/// parsers, which drop styles and layout.
///
/// Each of its buffers carries a cue; see cueWith(). Buffer times are in the segment of the stream.
///
/// WebVTT whose cue times are in the buffers, one cue a buffer, has the caps field `kTextPieces`.
///
/// Threads: any. Call it once in a process, after gst_init().
void registerTextStream();

/// Returns the cue of a buffer of that element, or null for any other buffer. The buffer owns it.
const SubtitleCue* cueWith(GstBuffer* buffer);

}  // namespace media
