#pragma once

#include <gst/gst.h>

namespace media {

/// Fault: uridecodebin3 starts its source before its decodebin3 can take data. What the source
/// sends in between is refused as during a flush, which stops the source without an error message.
///
/// Library: playback of GStreamer 1.22.0 to 1.26.2. No upstream report known.
/// Without it: a load on a busy machine waits for its first frame until it times out.
/// Test: Decodebin3StartOrder_test.cpp.
/// Delete it when uridecodebin3 starts its decodebin3 first.
///
/// How: sets each decodebin3 to PAUSED when a source is added beside it.
void installDecodebin3StartOrder(GstElement* playbin);

}  // namespace media
