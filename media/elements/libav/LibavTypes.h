#pragma once

namespace media {

/// The caps that LibavDemuxer accepts: kLibavInputCaps, and types that GStreamer has no demuxer
/// for, or whose demuxer does not seek or reports wrong durations or codecs.
const char* libavInputTypes();

/// Registers the detection of containers that GStreamer does not detect, or takes for an elementary
/// stream.
void registerLibavTypes();

}  // namespace media
