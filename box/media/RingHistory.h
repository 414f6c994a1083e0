#pragma once

#include <gst/gst.h>

namespace box {

/// Keeps the ring of what has been downloaded from handing out what it no longer holds.
///
/// A queue2 (1.22) never moves up the beginning of the range that it writes to: once that has gone
/// around the ring, all of it is taken for being there, and a seek back gets later bytes in the
/// place of those that were asked for. So whoever reads from it is watched. Once something may have
/// been overwritten, only what is certainly there is read as it is; for everything else the queue
/// is made to forget all, and to fetch from there.
///
/// What is certainly there reaches as far back from the furthest reading as the ring is large, less
/// what may be downloaded ahead of reading (16 and 2 MiB make 14). As long as no more than that has
/// come since all was forgotten, nothing is overwritten, and the range before the last far move is
/// kept: a file with its index at the end goes on at its beginning with what has come of that.
///
/// Where the queue holds nothing, it is moved from here too: by itself it writes past the end of a
/// reader's buffer, when the answer comes faster than the reading goes on. From a source that
/// cannot move, what lies ahead reads as the end, and what is lost as an error.
///
/// Threads: install before the queue leaves NULL; the rest is on the library's threads.

/// For every queue2 that `playbin` comes to hold.
void watchRingsOf(GstElement* playbin);
/// For one.
void watchRing(GstElement* queue);

}  // namespace box
