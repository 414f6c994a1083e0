#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace streaming {

/// Decrypts a resource that is encrypted whole (AES-128 in CBC, with padding), as its bytes arrive.
class SegmentDecryptor {
 public:
  /// `key`: 16 bytes.
  SegmentDecryptor(std::string_view key, const std::array<std::byte, 16>& initialVector);
  ~SegmentDecryptor();
  SegmentDecryptor(const SegmentDecryptor&) = delete;
  SegmentDecryptor& operator=(const SegmentDecryptor&) = delete;

  /// What can be read of it so far. The last block is held back: it may be padding.
  std::string pass(std::string_view bytes);
  /// The rest; none when the resource was cut off, or encrypted with another key.
  std::optional<std::string> finish();

 private:
  struct Context;
  std::unique_ptr<Context> _context;
  bool _isBroken = false;
};

}  // namespace streaming
