#pragma once

#include <gst/gst.h>

namespace media {

/// Fault: qtdemux learns the length of the last fragment of a file only when it reads it, and posts
/// no message then, so the bins go on to answer with the duration that they have cached.
///
/// Library: isomp4 of GStreamer 1.22.0 to 1.26.2. No upstream report known.
/// Without it: the position of a fragmented mp4 stands still up to one fragment before the end.
/// Test: QtdemuxGrowingDuration_test.cpp.
/// Delete it when qtdemux posts the message itself.
///
/// How: posts duration-changed for a demuxer whose buffers go beyond the known duration.
void installQtdemuxGrowingDuration(GstElement* pipeline);

}  // namespace media
