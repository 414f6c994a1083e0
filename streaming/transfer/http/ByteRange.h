#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace streaming {

/// A byte range in the notation of HTTP (RFC 9110).
struct ByteRange {
  std::uint64_t first = 0;
  std::optional<std::uint64_t> last;  ///< inclusive; nullopt: to the end
  std::optional<std::uint64_t> total;

  static std::optional<ByteRange> ofResponse(std::string_view field);

  std::string requestField() const;  ///< such as "bytes=1-2"
};

}  // namespace streaming
