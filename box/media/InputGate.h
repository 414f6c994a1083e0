#pragma once

#include <gst/gst.h>

namespace box {

/// Keeps one input of a decodebin3 from ending before the others have begun.
///
/// Where that happens, decodebin3 (1.22) forgets the stream that has ended as soon as another one
/// begins, and then dereferences what it forgot when it is taken down. A short clip on a busy
/// machine is enough. So an end of stream waits at its pad until each other pad has had a second
/// item, which proves that the first has gone all the way, or has come to its own end. Taking the
/// pipeline down or flushing it ends the wait, as with every blocked pad.
///
/// Threads: install before the pipeline leaves NULL; the rest is between the streaming threads.

/// For the decodebin3 that `playbin` makes by itself.
void gateInputsOfDecodebin(GstElement* playbin);
/// For all sink pads of `element`, present and future.
void gateInputsOf(GstElement* element);

}  // namespace box
