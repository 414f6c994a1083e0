#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace streaming {

/// Decrypts a segment that is encrypted as a whole (AES-128 CBC with padding) while it arrives.
class SegmentDecryptor {
 public:
  /// `key` has 16 bytes.
  SegmentDecryptor(std::string_view key, const std::array<std::byte, 16>& initialVector);
  ~SegmentDecryptor();
  SegmentDecryptor(const SegmentDecryptor&) = delete;
  SegmentDecryptor& operator=(const SegmentDecryptor&) = delete;

  /// Returns the decrypted bytes so far. The last block is held back, because it may contain
  /// padding.
  std::string pass(std::string_view bytes);
  /// Returns the remaining bytes. nullopt: the segment is truncated, or the key is wrong.
  std::optional<std::string> finish();

 private:
  struct Context;
  std::unique_ptr<Context> _context;
  bool _isBroken = false;
};

}  // namespace streaming
