#pragma once

#include <cstddef>

#include <gst/gst.h>

namespace media {

/// Makes accurate seeks faster. Pictures between the key frame and the target that no other picture
/// refers to are not decoded (H.264 only, which marks them). The other pictures before the target
/// are not output by the decoder (GStreamer 1.22 only).
///
/// Adds probes to the video decoders of `pipeline`, which run on streaming threads.
void takeSeekShortcuts(GstElement* pipeline);

/// Returns whether no other picture refers to this one. `lengthSize` is the size of the length
/// prefix of NAL units, or 0 for start codes. Returns false for broken data.
bool isDisposableH264(const guint8* bytes, gsize size, std::size_t lengthSize);

}  // namespace media
