#pragma once

#include <gst/gst.h>

#include "box/media/SubtitleCue.h"

namespace box {

/// Makes the library hand over the WebVTT and TTML of a stream (a rendition of HLS, a track of an
/// mp4 or of DASH) with all that they say of looks and places: registers an element that takes them
/// in the place of the library's own.
///
/// Each of its buffers has a cue with it, and times as the stream counts them.
///
/// Threads: any, once a process, after the library has been initialised.
void registerTextStream();

/// The cue that came with a buffer of that element; null for any other buffer. It lives as long as
/// the buffer.
const SubtitleCue* cueWith(GstBuffer* buffer);

}  // namespace box
