#pragma once

#include <gst/gst.h>

namespace media {

/// Fault: urisourcebin takes its state lock in its "have-type" handler, on the streaming thread of
/// its typefind element. A change of state to NULL holds that lock while it waits for the thread.
///
/// Library: playback of GStreamer 1.22.0. No upstream report known.
/// Without it: an item that is unloaded while its container is being recognised never ends.
/// Test: NextItem_test.cpp on a busy machine.
/// Delete it when urisourcebin takes no state lock on a streaming thread.
///
/// How: counts the emissions of "have-type". stopUrisourcebin() makes urisourcebin miss the
/// emissions to come, and waits for the one under way, which then finds the state lock free.
void installUrisourcebinTypefindDeadlock(GstElement* playbin);

/// Sets `playbin` to NULL. Waits for "have-type" handlers, which read and write no media data.
void stopUrisourcebin(GstElement* playbin);

}  // namespace media
