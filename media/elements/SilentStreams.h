#pragma once

#include <gst/gst.h>

namespace media {

/// The name of the element messages of reportSilentStreams().
constexpr const char* kSilentStreamMessage = "vorlane-silent-stream";

/// Reports parsers and decoders in `pipeline` that get packets and have no output: 12 seconds of
/// media, or all of a shorter stream. The packets are damaged, or of a kind that is not supported.
/// Without the report, the sink of such a stream would keep the pipeline from prerolling.
///
/// Also reports streams without any packet, unless another stream of their type has output.
///
/// Call it before the pipeline starts.
void reportSilentStreams(GstElement* pipeline);

struct SilentStream {
  GstStreamType type{};  ///< GST_STREAM_TYPE_AUDIO or GST_STREAM_TYPE_VIDEO
  bool isEmpty = false;  ///< has ended without a packet; its sink does not wait
};
SilentStream silentStreamOf(const GstStructure* message);

}  // namespace media
