#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace streaming {

/// A part of a resource, in bytes, as HTTP writes it.
struct ByteRange {
  std::uint64_t first = 0;
  std::optional<std::uint64_t> last;  ///< inclusive; none: to the end
  std::optional<std::uint64_t> total;

  /// Of a Content-Range field.
  static std::optional<ByteRange> ofResponse(std::string_view field);

  std::string requestField() const;  ///< bytes=1-2
};

}  // namespace streaming
