#pragma once

// Without GStreamer's headers, which the main program does not need.
using GstElement = struct _GstElement;

namespace media {

/// The environment variable that names the folder of dumpPipeline(). GStreamer reads it in
/// gst_init().
inline constexpr const char* kPipelineDumpVariable = "GST_DEBUG_DUMP_DOT_DIR";

/// Writes a graph of the pipeline with its states and caps to a dot file. The file name has the
/// time since the start of the process, the process id and `moment`. Does nothing without the
/// variable, or if `pipeline` is null.
void dumpPipeline(GstElement* pipeline, const char* moment);

}  // namespace media
