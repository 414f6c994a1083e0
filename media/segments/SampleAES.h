#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

extern "C" {
#include <libavcodec/codec_id.h>
}

#include "platform/foundation/Value.h"

struct AVPacket;

namespace media {

/// Decrypts an access unit of the method SAMPLE-AES, as transport streams and packed audio have
/// it: slices of H.264, frames of AAC, AC-3 and E-AC-3, each but for its beginning. False: another
/// codec, or damage.
bool decryptSampleAES(AVPacket& packet, AVCodecID codec, const platform::Bytes& key,
                      const std::array<std::byte, 16>& initialVector);

}  // namespace media
