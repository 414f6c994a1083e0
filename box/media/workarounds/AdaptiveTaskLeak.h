#pragma once

namespace box {

/// Fault: a demuxer of playlists keeps a reference to the GCancellable of each download that has
/// ended, although nothing can reach it any more.
///
/// Library: adaptivedemux2 of GStreamer 1.22.0. No upstream report known.
/// Without it: an hour of playback or some thousand seeks leak megabytes, since the leaked objects
///   keep pages of the heap in use.
/// Test: AdaptiveTaskLeak_test.cpp.
/// Delete it when no supported system has GStreamer 1.22, or when adaptivedemux2 is not used.
///
/// How: replaces the method finalize of the class GTask, and releases the reference with the task
/// of the download. For this reason it is on for the tested version alone.
void installAdaptiveTaskLeak();

}  // namespace box
