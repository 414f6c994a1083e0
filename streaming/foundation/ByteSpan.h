#pragma once

#include <cstdint>
#include <optional>

namespace streaming {

struct ByteSpan {
  std::uint64_t offset = 0;
  std::optional<std::uint64_t> length;  ///< nullopt: to the end of the resource
  friend bool operator==(const ByteSpan&, const ByteSpan&) = default;
};

}  // namespace streaming
