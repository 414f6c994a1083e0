#pragma once

#include <gst/gst.h>

namespace box {

/// Whether a demuxer in `pipeline` has come to the end of its work, or given it up, and there is
/// nothing that it has found: the library may lose its complaint where it gives up at once.
bool hasDemuxerWithoutResult(GstElement* pipeline);

}  // namespace box
