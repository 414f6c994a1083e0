#pragma once

namespace box {

/// Makes the downloads of the library's demuxers of playlists give back all they hold. GStreamer
/// 1.22 keeps an object of each file it fetches, which nobody can reach any more, and with it the
/// pages of the heap where it lies: an hour of play or some thousand seeks are megabytes.
///
/// Once, after the library has been initialized. Where the library is another one, nothing is
/// changed.
void mendTransferTasks();

}  // namespace box
