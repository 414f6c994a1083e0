#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace media {

struct LibavFrameRelease {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using LibavFrame = std::unique_ptr<AVFrame, LibavFrameRelease>;

/// Decodes a single image of at most `maxPixels` pixels with libavcodec. Returns null if it is
/// damaged or larger. Chunks of texts and color profiles of a PNG are not read: libavcodec inflates
/// them without a limit.
///
/// Threads: any.
LibavFrame decodeImage(std::string_view image, AVCodecID codec, std::int64_t maxPixels);

}  // namespace media
