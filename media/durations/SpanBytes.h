#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "media/durations/MediaSpan.h"

namespace media {

using SpanBytes = std::vector<std::uint8_t>;

/// Returns fewer bytes than `count` at the end and after an error.
inline SpanBytes readSpan(const ReadBytes& read, std::uint64_t offset, std::size_t count) {
  SpanBytes bytes(count);
  bytes.resize(read(offset, bytes));
  return bytes;
}

/// Returns exactly `count` bytes, or none.
inline SpanBytes readWholeSpan(const ReadBytes& read, std::uint64_t offset, std::size_t count) {
  SpanBytes bytes = readSpan(read, offset, count);
  if (bytes.size() < count) bytes.clear();
  return bytes;
}

/// Returns the last `count` bytes, or all of a shorter resource, or none after an error.
inline SpanBytes readTail(const ReadBytes& read, std::uint64_t size, std::size_t count) {
  const std::uint64_t length = count < size ? count : size;
  return readWholeSpan(read, size - length, static_cast<std::size_t>(length));
}

}  // namespace media
