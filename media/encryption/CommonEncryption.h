#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/foundation/Value.h"

namespace media {

/// How one sample of an encrypted mp4 is protected (ISO/IEC 23001-7).
struct SampleProtection {
  enum class Scheme {
    CENC,  ///< AES-128 in counter mode, over all that is encrypted
    CBCS,  ///< AES-128 in chained mode, begun anew in each part, over a pattern of its blocks
  };
  /// Parts of a sample follow each other without a gap: clear bytes, then encrypted ones.
  struct Part {
    std::uint32_t clearBytes = 0;
    std::uint32_t encryptedBytes = 0;
  };

  Scheme scheme = Scheme::CENC;
  std::array<std::byte, 16> initialVector{};
  std::vector<Part> parts;  ///< none: everything is encrypted
  /// Of CBCS: so many blocks are encrypted, then so many are not. Without the first, all are.
  std::uint32_t encryptedBlocks = 0;
  std::uint32_t clearBlocks = 0;
};

/// Decrypts in place. False when the parts are more than the sample, or the key is none of AES-128:
/// the sample is then worthless.
bool decryptSample(std::span<std::byte> sample, const platform::Bytes& key,
                   const SampleProtection& protection);

}  // namespace media
