#pragma once

#include <gst/gst.h>

namespace media {

/// Fault: flvdemux answers an accurate seek with a segment that begins at the key picture before
/// the wanted time: the first buffer is earlier than the segment that it has prepared, so it makes
/// another one.
///
/// Library: flv of GStreamer 1.26.2. 1.22.0 does not have it. No upstream report known.
/// Without it: a seek in an FLV file goes back to the key picture before the wanted time.
/// Test: Formats_test.cpp, PlayToTheEnd ("h264_mp3.flv").
/// Delete it when that test passes without it.
///
/// How: moves the start of the segment to the time of the last accurate seek.
void installFlvdemuxAccurateSeek(GstElement* pipeline);

}  // namespace media
