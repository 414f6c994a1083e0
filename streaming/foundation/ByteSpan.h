#pragma once

#include <cstdint>
#include <optional>

namespace streaming {

/// Bytes of a resource.
struct ByteSpan {
  std::uint64_t offset = 0;
  std::optional<std::uint64_t> length;  ///< none: to the end
  friend bool operator==(const ByteSpan&, const ByteSpan&) = default;
};

}  // namespace streaming
