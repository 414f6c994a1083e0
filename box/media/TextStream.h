#pragma once

#include <gst/gst.h>

#include "box/media/SubtitleCue.h"

namespace box {

inline constexpr const char* kTextPieces = "pieces";
inline constexpr const char* kTextPiecesBare = "bare";  ///< the text alone
inline constexpr const char* kTextPiecesWebM = "webm";  ///< after its name and its settings

/// Makes the library hand over the WebVTT and TTML of a stream (a rendition of HLS, a track of an
/// mp4 or of DASH) with all that they say of looks and places: registers an element that takes them
/// in the place of the library's own.
///
/// Each of its buffers has a cue with it, and times as the stream counts them.
///
/// WebVTT that comes without its times, each buffer a cue, is told by the field `kTextPieces` of
/// its form.
///
/// Threads: any, once a process, after the library has been initialised.
void registerTextStream();

/// For a sync handler of a pipeline's bus: adaptive media call a stream of that kind by what it was
/// before that element took it, and who reads the name looks for a decoder.
void nameTextStreams(GstMessage* message);

/// The cue that came with a buffer of that element; null for any other buffer. It lives as long as
/// the buffer.
const SubtitleCue* cueWith(GstBuffer* buffer);

}  // namespace box
