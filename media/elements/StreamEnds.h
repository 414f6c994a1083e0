#pragma once

#include <gst/gst.h>

namespace media {

/// Ends each stream of a decodebin3 when its data end. decodebin3 itself passes EOS to the decoders
/// only when all streams have ended. Until then a decoder keeps its last pictures, and after a seek
/// behind the end of a stream its sink does not preroll.
///
/// How: a custom event is sent ahead of EOS. It passes the queues of decodebin3 and becomes EOS
/// before the decoder.
///
/// Threads: streaming threads, before data flow.

/// Sends the custom event ahead of each EOS event. `input` is a sink pad of decodebin3.
void markEndOfStream(GstPad* input);
/// Turns the custom event into EOS at `pad`, the sink pad of a decoder or of an element after it.
void endStreamAtMark(GstPad* pad);

}  // namespace media
