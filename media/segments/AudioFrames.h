#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace media {

/// The length of an audio frame.
struct AudioFrame {
  int samples = 0;        ///< 0 for a frame that extends the one before
  int rate = 0;           ///< samples a second
  std::size_t bytes = 0;  ///< with the header; 0: unknown
};

/// Parses the header of an ADTS, MPEG audio, AC-3 or E-AC-3 frame. Returns nullopt for other codecs
/// and broken headers.
std::optional<AudioFrame> audioFrameOf(AVCodecID codec, std::span<const std::uint8_t> frame);

}  // namespace media
