#pragma once

#include <gst/gst.h>

namespace box {

/// Fault: a queue2 with a ring buffer never moves up the beginning of the range that it writes.
/// Once the writing has gone around the ring, the queue takes all of the range for present. Also,
/// a read from an empty queue may write past the end of the reader's buffer when the data arrive
/// faster than the reader goes on.
///
/// Library: coreelements of GStreamer 1.22.0 and 1.26.2. No upstream report known.
/// Without it: a seek back in a large file reads later bytes in the place of the right ones.
/// Test: Queue2StaleRing_test.cpp.
/// Delete it when queue2 is not used with a ring buffer.
///
/// How: replaces the getrange function of the source pad of each queue2. The replacement tracks
/// what has been written. As long as nothing can have been overwritten, the queue is read as it is,
/// and it keeps one earlier range, such as the beginning of a file whose index is at the end.
/// After that, only the last part of the ring is read as it is: the size of the ring less what may
/// be downloaded ahead of the reader (16 MiB less 2 MiB make 14). For everything else the queue is
/// made to forget its ranges and to download from the wanted position.
///
/// When the source cannot seek, a read ahead of the data answers EOS, and a read of what was
/// overwritten fails.
///
/// Threads: installed before the queue leaves the state NULL; works on the streaming threads.
void installQueue2StaleRing(GstElement* playbin);

/// The same for one queue.
void watchRing(GstElement* queue);

}  // namespace box
