#pragma once

#include <gst/gst.h>

namespace box {

/// Has the demuxers of a playbin3 tell when their media turn out to be longer than they had said.
///
/// Of a fragmented file qtdemux learns how long the last fragment is only as it comes to it, and
/// tells nobody: the bins go on answering with the duration that they know (GStreamer 1.22). Before
/// the playbin3 starts.
void tellGrowingDurations(GstElement* playbin);

}  // namespace box
