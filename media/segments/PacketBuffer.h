#pragma once

#include <gst/gst.h>

#include "media/segments/StreamClock.h"
#include "media/support/GstRef.h"

struct AVPacket;

namespace media {

/// A buffer of the packet's bytes, without copying them, with these times. Null: there is nothing
/// in it that could be heard or seen, nor is it needed for what follows.
GstRef<GstBuffer> bufferOf(const AVPacket& packet, const PacketTimes& times, bool isPicture);

}  // namespace media
