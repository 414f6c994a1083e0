#pragma once

#include <gst/gst.h>

namespace box {

/// Fault: when one input of a decodebin3 ends before another one has begun, decodebin3 forgets the
/// stream that has ended as soon as the other begins, and dereferences it when it is stopped.
///
/// Library: playback of GStreamer 1.22.0 to 1.26.2. No upstream report known.
/// Without it: a short clip on a busy machine ends the process.
/// Test: Decodebin3EarlyEos_test.cpp.
/// Delete it when decodebin3 keeps such a stream.
///
/// How: an EOS event is blocked at its pad until each other pad has had its second item, which
/// proves that the first one has gone through, or has ended. Flushing or stopping the pipeline ends
/// the wait, as it does for every blocked pad.
void installDecodebin3EarlyEos(GstElement* playbin);

/// The same for all sink pads of `element`, present and future.
void holdEarlyEos(GstElement* element);

}  // namespace box
