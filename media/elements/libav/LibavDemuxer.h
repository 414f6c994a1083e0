#pragma once

#include <gst/gst.h>

namespace media {

/// The caps that make a parsebin use LibavDemuxer: set them as its "sink-caps".
constexpr const char* kLibavInputCaps = "application/x-vorlane-libav";

/// Registers a demuxer that uses libavformat. It plays the formats that GStreamer has no demuxer
/// for, or whose demuxer fails. Besides kLibavInputCaps, it accepts libavInputTypes().
///
/// It pulls from upstream, so the resource has to be seekable. It outputs audio, video and the
/// subtitles of libavCapsOf(). Seeks are flushing or not, at positive rates.
void registerLibavDemuxer();

}  // namespace media
