#pragma once

#include <gst/gst.h>

namespace media {

/// The element message that announces a forced text stream. It is posted before the stream is
/// announced. Its field `kForcedTextStream` has the stream's id.
inline constexpr const char* kForcedTextMessage = "vorlane-forced-text";
inline constexpr const char* kForcedTextStream = "stream-id";

/// matroskademux does not report which text streams are forced, and gives WebVTT the wrong caps.
/// This function reads both from the tracks of the file: it posts `kForcedTextMessage` for forced
/// streams and sets caps on WebVTT pads that the element of registerTextStream() accepts.
///
/// Call it before the pipeline starts. It applies to every matroskademux added to `pipeline`.
void reportMatroskaTexts(GstElement* pipeline);

}  // namespace media
