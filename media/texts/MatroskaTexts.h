#pragma once

#include <gst/gst.h>

namespace media {

/// An element's message before the stream is told of: a text that is shown although nobody has
/// chosen it; its field has the stream's id.
inline constexpr const char* kForcedTextMessage = "vorlane-forced-text";
inline constexpr const char* kForcedTextStream = "stream-id";

/// Has the library's demuxer of Matroska in a pipeline tell what it knows of texts and keeps to
/// itself: which ones are forced, as `kForcedTextMessage`, and which ones are WebVTT, in a form
/// that registerTextStream() reads.
///
/// Call it before the pipeline starts; it goes with the pipeline's elements.
void tellMatroskaTexts(GstElement* pipeline);

}  // namespace media
