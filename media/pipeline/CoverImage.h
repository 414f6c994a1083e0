#pragma once

#include <cstdint>
#include <span>

#include <gst/gst.h>

#include "media/support/GstRef.h"

namespace media {

/// Decodes the cover of an item, in JPEG, PNG, WebP or BMP, with libavcodec. Returns a picture in
/// I420 and in shared memory, scaled down to kMaxCoverSize; or null.
///
/// The image comes from outside. Memory and time are bounded: images above 16 MiB, 16 million
/// pixels or 64 scans are not decoded. Threads: any.
GstRef<GstSample> decodeCover(std::span<const std::uint8_t> image);

/// The largest width and height of a decoded cover, in pixels.
inline constexpr int kMaxCoverSize = 1080;

}  // namespace media
