#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "streaming/foundation/ByteSpan.h"

namespace streaming {

/// Extracts the requested range from a body. A server without range support sends the whole
/// resource.
class SpanFilter {
 public:
  explicit SpanFilter(const std::optional<ByteSpan>& span) : _span(span) {}
  /// False: the body starts after the requested range.
  bool begin(std::uint64_t bodyOffset);
  /// The part of `bytes` that is within the range.
  std::string_view pass(std::string_view bytes);
  bool isDone() const { return _rest && *_rest == 0; }

 private:
  std::optional<ByteSpan> _span;
  std::uint64_t _skip = 0;
  std::optional<std::uint64_t> _rest;
};

}  // namespace streaming
