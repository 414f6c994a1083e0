#pragma once

#include <gst/gst.h>

#include "media/output/SubtitleCue.h"

namespace media {

inline constexpr const char* kTextPieces = "pieces";
inline constexpr const char* kTextPiecesBare = "bare";  ///< the text alone
inline constexpr const char* kTextPiecesWebM = "webm";  ///< after its name and its settings

/// Registers an element that takes the WebVTT and TTML of a track of an mp4, in place of the
/// library's own, and keeps what they say of looks and places.
///
/// Each of its buffers has a cue with it, and times as the stream counts them.
///
/// WebVTT that comes without its times, each buffer a cue, is told by the field `kTextPieces` of
/// its form.
///
/// Threads: any, once a process, after the library has been initialised.
void registerTextStream();

/// The cue that came with a buffer of that element; null for any other buffer. It lives as long as
/// the buffer.
const SubtitleCue* cueWith(GstBuffer* buffer);

}  // namespace media
