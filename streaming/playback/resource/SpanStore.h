#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "streaming/foundation/ByteSpan.h"

namespace streaming {

/// Byte ranges of a resource in memory. Not thread-safe.
class SpanStore {
 public:
  /// Does not replace bytes that are stored already.
  void put(std::uint64_t offset, std::string_view bytes);
  /// Copies stored bytes from `offset` up to the first gap. Returns 0 if there are none.
  std::size_t copy(std::uint64_t offset, std::span<std::byte> into);
  /// The end of the stored bytes from `offset` up to the first gap. Returns `offset` if there are
  /// none.
  std::uint64_t endFrom(std::uint64_t offset) const;

  struct Window {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
  };
  /// Outside the windows, deletes the least recently used bytes until at most `limit` bytes are
  /// left.
  void trim(const std::vector<Window>& windows, std::uint64_t limit);

  std::uint64_t size() const { return _size; }
  std::vector<ByteSpan> spans() const;

 private:
  struct Chunk {
    std::string bytes;
    std::uint64_t used = 0;  // use counter; higher is more recent
  };
  using Chunks = std::map<std::uint64_t, Chunk>;
  Chunks::const_iterator _chunkAt(std::uint64_t offset) const;

  Chunks _chunks;  // by offset, without overlaps
  std::uint64_t _size = 0;
  std::uint64_t _useCount = 0;
};

}  // namespace streaming
