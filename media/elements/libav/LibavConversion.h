#pragma once

#include <gst/gst.h>

#include "media/elements/libav/LibavInput.h"
#include "media/support/GstRef.h"

namespace media {

/// Return the tags of the container and of a stream. Empty if there are none.
GstRef<GstTagList> containerTags(const LibavInput& input);
GstRef<GstTagList> streamTags(const LibavInput& input, const AVStream& stream);

/// Returns a buffer that shares the memory of `packet`. Null if there is no memory.
GstRef<GstBuffer> bufferOfPacket(const AVPacket& packet, const LibavInput::Times& times);

/// Prepends the parameter sets of H.264 and H.265 in the byte stream format. Some containers have
/// them in their header only.
void prependParameterSets(GstBuffer& buffer, const AVStream& stream);

}  // namespace media
