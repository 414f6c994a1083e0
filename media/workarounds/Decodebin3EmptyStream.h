#pragma once

#include <gst/gst.h>

namespace media {

/// Fault: decodebin3 drops the EOS of a stream that had neither a buffer nor a gap. The sink of the
/// stream then waits, and with it the pipeline.
///
/// Library: playback of GStreamer 1.26.2. 1.22.0 does not have it. No upstream report known.
/// Without it: a file with an empty audio track does not play.
/// Test: ShortMedia_test.cpp, EmptyStreams ("no_sound.mkv").
/// Delete it when that test passes without it.
///
/// How: adds a gap before such an EOS.
void installDecodebin3EmptyStream(GstElement* pipeline);

}  // namespace media
