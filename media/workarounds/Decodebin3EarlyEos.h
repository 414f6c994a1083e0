#pragma once

#include <gst/gst.h>

namespace media {

/// Fault: when one input of a decodebin3 ends before another one has begun, decodebin3 removes the
/// stream that has ended. 1.22 dereferences it when it is stopped; 1.26 fails an assertion when it
/// is asked to select it.
///
/// Library: playback of GStreamer 1.22.0 to 1.26.2. No upstream report known.
/// Without it: a short clip on a busy machine, or one with several texts, ends the process.
/// Test: Decodebin3EarlyEos_test.cpp. MediaTracks_test.cpp, UnsupportedTextsDoNoHarm, on a busy
///   machine.
/// Delete it when decodebin3 keeps such a stream.
///
/// How: an EOS event is kept until each other pad has received its second item, which proves that
/// the first one was handled, or has ended. Then it is sent on that pad's thread. Blocking the
/// thread that brings EOS is no solution: it may be the thread that feeds the other pads. A flush
/// drops the event.
void installDecodebin3EarlyEos(GstElement* pipeline);

/// Applies it to all sink pads of `element`, including later ones.
void holdEarlyEos(GstElement* element);

}  // namespace media
