#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

extern "C" {
#include <libavcodec/codec_id.h>
}

#include "platform/foundation/Bytes.h"

struct AVPacket;

namespace media {

/// Decrypts an access unit with SAMPLE-AES (transport streams, packed audio): slices of H.264,
/// frames of AAC, AC-3 and E-AC-3. Returns false for other codecs and broken data.
bool decryptSampleAES(AVPacket& packet, AVCodecID codec, const platform::Bytes& key,
                      const std::array<std::byte, 16>& initialVector);

}  // namespace media
