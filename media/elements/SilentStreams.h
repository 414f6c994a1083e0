#pragma once

#include <gst/gst.h>

namespace media {

/// The name of the element messages of reportSilentStreams().
constexpr const char* kSilentStreamMessage = "vorlane-silent-stream";

/// Reports parsers and decoders in `pipeline` that get packets and have no output: 12 seconds of
/// media, or all of a shorter stream. The packets are damaged, or of a kind that is not supported.
/// Without the report, the sink of such a stream would keep the pipeline from prerolling.
///
/// Call it before the pipeline starts.
void reportSilentStreams(GstElement* pipeline);

/// Returns GST_STREAM_TYPE_AUDIO or GST_STREAM_TYPE_VIDEO.
GstStreamType typeOfSilentStream(const GstStructure* message);

}  // namespace media
