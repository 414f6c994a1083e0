#pragma once

#include <cstdint>
#include <span>

#include <gst/gst.h>

#include "media/support/GstRef.h"

struct AVCodecParameters;
struct AVStream;

namespace media {

/// What a parser or decoder of GStreamer takes the packets of a stream for. `setup`: the codec's
/// own description of the stream, as it holds now. Null: the codec is none that can be played.
GstRef<GstCaps> capsOf(const AVStream& stream, std::span<const std::uint8_t> setup);

/// The same of sound.
GstRef<GstCaps> soundCapsOf(const AVCodecParameters& parameters,
                            std::span<const std::uint8_t> setup);

/// A buffer with a copy of `bytes`.
GstRef<GstBuffer> bufferOf(std::span<const std::uint8_t> bytes);
void setBytes(GstCaps& caps, const char* field, std::span<const std::uint8_t> bytes);

}  // namespace media
