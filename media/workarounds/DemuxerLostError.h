#pragma once

#include <gst/gst.h>

namespace media {

/// Fault: the error message of a demuxer that fails right at its start may be lost, so that the
/// pipeline waits for its streams for ever.
///
/// Library: playback of GStreamer 1.22.0 to 1.26.2. No upstream report known.
/// Without it: a file that is cut off before its index fails after 15 seconds instead of two.
/// Test: BadMedia_test.cpp, FailsOnceWithDomainCodeAndDescription ("truncated").
/// Delete it when that test passes without it.
///
/// Whether a demuxer in `pipeline` has ended its work, or given up, and has no streams.
bool hasDemuxerWithoutResult(GstElement* pipeline);

}  // namespace media
