#include "streaming/playback/loading/SpanFilter.h"

#include <algorithm>

namespace streaming {

bool SpanFilter::begin(std::uint64_t bodyOffset) {
  if (!_span) return bodyOffset == 0;
  if (bodyOffset > _span->offset) return false;
  _skip = _span->offset - bodyOffset;
  _rest = _span->length;
  return true;
}

std::string_view SpanFilter::pass(std::string_view bytes) {
  const std::size_t skipped = std::min<std::uint64_t>(_skip, bytes.size());
  _skip -= skipped;
  bytes.remove_prefix(skipped);
  if (!_rest) return bytes;
  bytes = bytes.substr(0, std::min<std::uint64_t>(*_rest, bytes.size()));
  *_rest -= bytes.size();
  return bytes;
}

}  // namespace streaming
