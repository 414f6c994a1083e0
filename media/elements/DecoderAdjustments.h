#pragma once

#include <gst/gst.h>

namespace media {

/// Adjusts the decoders that are added to `pipeline`: an audio decoder fails if it cannot decode
/// the first packets, and a stream ends at the mark of StreamEnds.
///
/// Threads: before data flow; the handlers run on streaming threads.
void adjustDecoders(GstElement* pipeline);

}  // namespace media
