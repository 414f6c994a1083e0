#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace box {

/// A part of a resource, in bytes.
struct ByteRange {
  std::uint64_t first = 0;
  std::optional<std::uint64_t> last;  ///< inclusive; none: to the end
  std::optional<std::uint64_t> total;

  /// Of a Range field with one range that names its first byte, or counts from the end of
  /// `total` bytes. Nothing for all others, which a server may answer with everything.
  static std::optional<ByteRange> ofRequest(std::string_view field,
                                            std::optional<std::uint64_t> total = {});
  /// Of a Content-Range field.
  static std::optional<ByteRange> ofResponse(std::string_view field);

  std::string requestField() const;   ///< bytes=1-2
  std::string responseField() const;  ///< bytes 1-2/3; `last` and `total` are known
};

/// Decimal digits and nothing else.
std::optional<std::uint64_t> numberOf(std::string_view text);

}  // namespace box
