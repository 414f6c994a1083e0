#pragma once

#include <cstdint>
#include <optional>
#include <span>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace media {

/// What a frame of sound says of its length.
struct AudioFrame {
  int samples = 0;
  int rate = 0;  ///< samples a second
};

/// Of frames that begin with a header: ADTS, MPEG audio, AC-3 and E-AC-3. None for others.
std::optional<AudioFrame> audioFrameOf(AVCodecID codec, std::span<const std::uint8_t> frame);

}  // namespace media
