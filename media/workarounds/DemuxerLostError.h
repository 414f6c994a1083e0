#pragma once

#include <gst/gst.h>

namespace media {

/// Fault: the error message of a demuxer that fails at its start may be lost, so that the pipeline
/// waits for its streams forever.
///
/// Library: playback of GStreamer 1.22.0 to 1.26.2. No upstream report known.
/// Without it: a file that is cut off before its index fails after 15 seconds instead of two.
/// Test: BadMedia_test.cpp, FailsOnceWithDomainCodeAndDescription ("truncated").
/// Delete it when that test passes without it.
///
/// Returns whether a demuxer in `pipeline` has ended, or failed, without any streams.
bool hasDemuxerWithoutResult(GstElement* pipeline);

}  // namespace media
