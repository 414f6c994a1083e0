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

/// Parts of a resource in memory. One thread at a time.
class SpanStore {
 public:
  /// Bytes that are there already are kept.
  void put(std::uint64_t offset, std::string_view bytes);
  /// Copies what is there from `offset` on, at most to the end of a chunk; 0: nothing.
  std::size_t copy(std::uint64_t offset, std::span<std::byte> into);
  /// The end of the bytes that follow `offset` without a gap; `offset` itself: there are none.
  std::uint64_t endFrom(std::uint64_t offset) const;

  struct Window {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
  };
  /// Deletes the least recently used bytes outside of the windows until no more than `limit` of
  /// those are left.
  void trim(const std::vector<Window>& windows, std::uint64_t limit);

  std::uint64_t size() const { return _size; }
  /// The parts that are there, by offset.
  std::vector<ByteSpan> spans() const;

 private:
  struct Chunk {
    std::string bytes;
    std::uint64_t used = 0;  // the higher, the later
  };
  using Chunks = std::map<std::uint64_t, Chunk>;
  Chunks::const_iterator _chunkAt(std::uint64_t offset) const;

  Chunks _chunks;  // by offset; they do not overlap
  std::uint64_t _size = 0;
  std::uint64_t _useCount = 0;
};

}  // namespace streaming
