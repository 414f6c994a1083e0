#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "streaming/foundation/ByteSpan.h"

namespace streaming {

/// Cuts the requested part out of a body. A server that knows no ranges sends all of the resource.
class SpanFilter {
 public:
  explicit SpanFilter(const std::optional<ByteSpan>& span) : _span(span) {}
  /// False: the body begins behind the requested part.
  bool begin(std::uint64_t bodyOffset);
  /// What of the next bytes of the body belongs to the part.
  std::string_view pass(std::string_view bytes);
  /// The part has come whole, and more of the body is not wanted.
  bool isDone() const { return _rest && *_rest == 0; }

 private:
  std::optional<ByteSpan> _span;
  std::uint64_t _skip = 0;
  std::optional<std::uint64_t> _rest;
};

}  // namespace streaming
