#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/foundation/Bytes.h"

namespace media {

/// The encryption parameters of one sample (ISO/IEC 23001-7).
struct SampleProtection {
  enum class Scheme {
    CENC,  ///< AES-128-CTR over all encrypted bytes
    CBCS,  ///< AES-128-CBC, restarted in each part, over a pattern of blocks
  };
  /// Parts of a sample are contiguous: first clear, then encrypted bytes.
  struct Part {
    std::uint32_t clearBytes = 0;
    std::uint32_t encryptedBytes = 0;
  };

  Scheme scheme = Scheme::CENC;
  std::array<std::byte, 16> initialVector{};
  std::vector<Part> parts;  ///< empty: the whole sample is encrypted
  /// The pattern of CBCS. If `encryptedBlocks` is 0, all blocks are encrypted.
  std::uint32_t encryptedBlocks = 0;
  std::uint32_t clearBlocks = 0;
};

/// Decrypts in place. Returns false if the parts exceed the sample or the key has not 16 bytes; the
/// contents of the sample are then undefined.
bool decryptSample(std::span<std::byte> sample, const platform::Bytes& key,
                   const SampleProtection& protection);

}  // namespace media
