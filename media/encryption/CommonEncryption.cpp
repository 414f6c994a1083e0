#include "media/encryption/CommonEncryption.h"

#include <algorithm>
#include <limits>
#include <memory>

#include <openssl/evp.h>

namespace media {
namespace {

constexpr std::size_t kBlockSize = 16;
constexpr std::uint64_t kNoOverflow = std::numeric_limits<std::uint64_t>::max();
// EVP_DecryptUpdate() takes an int.
constexpr std::size_t kLongestRun = std::size_t{1} << 30;

const unsigned char* octets(const std::byte* bytes) {
  return reinterpret_cast<const unsigned char*>(bytes);
}

class Cipher {
 public:
  Cipher(const EVP_CIPHER* kind, const platform::Bytes& key)
      : _context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free),
        _works(_context && key.size() == kBlockSize &&
               EVP_DecryptInit_ex(_context.get(), kind, nullptr, octets(key.data()), nullptr) ==
                   1 &&
               EVP_CIPHER_CTX_set_padding(_context.get(), 0) == 1) {}

  void begin(const std::array<std::byte, kBlockSize>& initialVector) {
    _works = _works && EVP_DecryptInit_ex(_context.get(), nullptr, nullptr, nullptr,
                                          octets(initialVector.data())) == 1;
  }
  void decrypt(std::span<std::byte> bytes) {
    while (_works && !bytes.empty()) {
      const auto run = bytes.first(std::min(bytes.size(), kLongestRun));
      auto* const at = reinterpret_cast<unsigned char*>(run.data());
      int written = 0;
      _works =
          EVP_DecryptUpdate(_context.get(), at, &written, at, static_cast<int>(run.size())) == 1;
      bytes = bytes.subspan(run.size());
    }
  }
  bool works() const { return _works; }

 private:
  std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> _context;
  bool _works;
};

/// Counter mode with a 64-bit counter in the second half of the block. OpenSSL would carry an
/// overflow into the first half.
class CounterMode {
 public:
  CounterMode(const platform::Bytes& key, std::array<std::byte, kBlockSize> initialVector)
      : _cipher(EVP_aes_128_ctr(), key), _block(initialVector) {
    std::uint64_t count = 0;
    for (std::size_t at = kBlockSize / 2; at < kBlockSize; ++at)
      count = count << 8 | std::to_integer<std::uint64_t>(_block[at]);
    const std::uint64_t blocks = 0 - count;
    if (count != 0 && blocks < kNoOverflow / kBlockSize) _untilOverflow = blocks * kBlockSize;
    _cipher.begin(_block);
  }

  void decryptPart(std::span<std::byte> bytes) {
    while (!bytes.empty()) {
      const std::uint64_t length = std::min<std::uint64_t>(bytes.size(), _untilOverflow);
      _cipher.decrypt(bytes.first(length));
      bytes = bytes.subspan(length);
      _untilOverflow -= length;
      if (_untilOverflow > 0) continue;
      std::fill(_block.begin() + kBlockSize / 2, _block.end(), std::byte{0});
      _cipher.begin(_block);
      _untilOverflow = kNoOverflow;
    }
  }
  bool works() const { return _cipher.works(); }

 private:
  Cipher _cipher;
  std::array<std::byte, kBlockSize> _block;
  std::uint64_t _untilOverflow = kNoOverflow;  // bytes
};

class ChainedPattern {
 public:
  ChainedPattern(const platform::Bytes& key, const SampleProtection& protection)
      : _cipher(EVP_aes_128_cbc(), key), _protection(protection) {}

  void decryptPart(std::span<std::byte> bytes) {
    _cipher.begin(_protection.initialVector);
    const bool hasPattern = _protection.encryptedBlocks > 0;
    // An incomplete last block is clear.
    while (bytes.size() >= kBlockSize) {
      const std::size_t whole = bytes.size() / kBlockSize * kBlockSize;
      const std::size_t length =
          hasPattern ? std::min(whole, _protection.encryptedBlocks * kBlockSize) : whole;
      _cipher.decrypt(bytes.first(length));
      bytes = bytes.subspan(length);
      bytes = bytes.subspan(std::min(bytes.size(), _protection.clearBlocks * kBlockSize));
    }
  }
  bool works() const { return _cipher.works(); }

 private:
  Cipher _cipher;
  const SampleProtection& _protection;
};

template <typename Mode>
bool decryptParts(std::span<std::byte> sample, const std::vector<SampleProtection::Part>& parts,
                  Mode mode) {
  if (parts.empty()) mode.decryptPart(sample);
  for (const auto& [clear, encrypted] : parts) {
    if (clear > sample.size() || encrypted > sample.size() - clear) return false;
    mode.decryptPart(sample.subspan(clear, encrypted));
    sample = sample.subspan(std::size_t{clear} + encrypted);
  }
  return mode.works();
}

}  // namespace

bool decryptSample(std::span<std::byte> sample, const platform::Bytes& key,
                   const SampleProtection& protection) {
  if (protection.scheme == SampleProtection::Scheme::CENC)
    return decryptParts(sample, protection.parts, CounterMode(key, protection.initialVector));
  return decryptParts(sample, protection.parts, ChainedPattern(key, protection));
}

}  // namespace media
