#pragma once

#include <gst/gst.h>

namespace box {

/// Fault: a demuxer of playlists hands its downloads to a thread of their own. When a seek cancels
/// a download that this thread has not taken yet, the cancellation is lost: the download goes on
/// while the new one runs.
///
/// Library: adaptivedemux2 of GStreamer 1.22.0 and 1.26.2. No upstream report known.
/// Without it: a seek right after another one ends the process with an assertion, or the demuxer
///   takes the bytes of the old download for those of the new one.
/// Test: AdaptiveLostCancel_test.cpp.
/// Delete it when adaptivedemux2 is not used.
///
/// How: a flush of a seek waits, half a second at most, until the thread has taken everything that
/// was handed to it. During the flush the demuxer starts no download and has cancelled none yet.
///
/// Needs countSoupDownloads().
void installAdaptiveLostCancel(GstElement* playbin);

}  // namespace box
