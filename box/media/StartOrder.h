#pragma once

#include <gst/gst.h>

namespace box {

/// Makes the decodebin3 of a playbin3 ready for data before its source starts, each time it does.
///
/// uridecodebin3 starts its source first. What that sends while the decodebin3 is still on its way
/// is refused as during a flush; the source stops at that for good, and nobody hears of it: such a
/// load would wait for its first frame for ever. Before the playbin3 starts.
void startDecodersFirst(GstElement* playbin);

}  // namespace box
