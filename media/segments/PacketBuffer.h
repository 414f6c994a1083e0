#pragma once

#include <gst/gst.h>

#include "media/segments/StreamClock.h"
#include "media/support/GstRef.h"

struct AVPacket;

namespace media {

/// Wraps the bytes of `packet` in a buffer with these times, without copying. Returns null for
/// audio before the start of the presentation, which is not needed.
GstRef<GstBuffer> bufferOf(const AVPacket& packet, const PacketTimes& times, bool isPicture);

}  // namespace media
