#pragma once

#include <gst/gst.h>

namespace box {

/// Fault: when one input of a decodebin3 ends before another one has begun, decodebin3 removes the
/// stream that has ended, and dereferences it when it is stopped.
///
/// Library: playback of GStreamer 1.22.0. No upstream report known. 1.26.2 removes the stream too,
/// and fails an assertion in handle_stream_switch when it is asked to select it; but there this
/// workaround keeps the EOS event of the pipeline from coming, so it is off.
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
