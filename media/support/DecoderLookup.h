#pragma once

#include <gst/gst.h>

namespace media {

/// Returns whether GStreamer has a decoder for caps of this type. Fields other than the version of
/// MPEG are ignored: parsers change them, and decoders rarely declare which profiles they support.
///
/// Threads: any.
bool hasDecoder(const GstCaps* caps);

/// Disables decoders of whole files, which LibavDemuxer replaces: decodebin3 cannot seek them, and
/// may wait for itself. Call it once, after gst_init().
void disableFileDecoders();

/// Raises hardware decoders above all others. The variable GST_PLUGIN_FEATURE_RANK of GStreamer has
/// precedence. Call it once, after gst_init().
void preferHardwareDecoders();

}  // namespace media
