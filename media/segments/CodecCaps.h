#pragma once

#include <cstdint>
#include <span>

#include <gst/gst.h>

#include "media/support/GstRef.h"

struct AVCodecParameters;
struct AVStream;

namespace media {

/// Returns the caps that a parser or decoder of GStreamer needs for packets of `stream`. `setup` is
/// the current codec data. Returns null if the codec is not supported.
GstRef<GstCaps> capsOf(const AVStream& stream, std::span<const std::uint8_t> setup);

GstRef<GstCaps> soundCapsOf(const AVCodecParameters& parameters,
                            std::span<const std::uint8_t> setup);

/// Returns a buffer with a copy of `bytes`.
GstRef<GstBuffer> bufferOf(std::span<const std::uint8_t> bytes);
void setBytes(GstCaps& caps, const char* field, std::span<const std::uint8_t> bytes);

}  // namespace media
