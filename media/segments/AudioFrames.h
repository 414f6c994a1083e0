#pragma once

#include <cstdint>
#include <optional>
#include <span>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace media {

/// The length of an audio frame.
struct AudioFrame {
  int samples = 0;
  int rate = 0;  ///< samples a second
};

/// Parses the header of an ADTS, MPEG audio, AC-3 or E-AC-3 frame. Returns nullopt for other codecs
/// and broken headers.
std::optional<AudioFrame> audioFrameOf(AVCodecID codec, std::span<const std::uint8_t> frame);

}  // namespace media
