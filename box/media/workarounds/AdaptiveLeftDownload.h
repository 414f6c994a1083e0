#pragma once

#include "box/media/workarounds/Workarounds.h"

namespace box {

/// Fault: a demuxer of playlists that is stopped during a download never frees the download.
///
/// Library: adaptivedemux2 of GStreamer 1.22.0 and 1.26.2. No upstream report known.
/// Without it: each stop during a download leaves a connection and two more file descriptors open.
/// Test: MediaEngine_test.cpp, LoadingAgainAndAgainLeavesNothingBehind.
/// Delete it when adaptivedemux2 is not used.
///
/// How: the requests end before the playbin is stopped. Then the demuxer fails, or it has no
/// download left, which is waited for a quarter of a second at most.
///
/// Needs countSoupDownloads(). On the thread that stops the playbin.
void endDownloads(const PlaybinStop& stop);

}  // namespace box
