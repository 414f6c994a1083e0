#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "streaming/manifest/ManifestReader.h"

namespace streaming {

/// Limits the bytes of a file that are read to find its index.
inline constexpr std::uint64_t kMaxIndexBytes = std::uint64_t{4} * 1024 * 1024;

/// The result of parsing an index. Without segments and `needed` the index is unusable.
struct FileIndexParts {
  std::vector<Segment> segments;   // sorted
  std::optional<ByteSpan> needed;  // bytes to read before parsing can continue
};

/// Parses the `sidx` box at `at` bytes after `offset`, and the nested boxes. `head` starts at
/// `offset` and contains the box.
FileIndexParts readSegmentIndexBox(const IndexedFile& file, std::uint64_t offset,
                                   std::string_view head, std::uint64_t at);

/// `head` starts with an EBML header or with Cues.
bool isWebM(std::string_view head);
FileIndexParts readCues(const IndexedFile& file, std::uint64_t offset, std::string_view head);

void addFileSegment(const IndexedFile& file, Segment segment, FileIndexParts& parts);

/// The initialization segment of `file`, or its first `size` bytes.
std::shared_ptr<const Initialization> initializationOf(const IndexedFile& file, std::uint64_t size);

/// Reads big-endian integers. After the end it returns 0 and isGood() is false.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : _bytes(bytes) {}
  std::uint64_t number(std::size_t size) {
    if (_bytes.size() < size) {
      _isGood = false;
      return 0;
    }
    std::uint64_t value = 0;
    for (const char each : _bytes.substr(0, size))
      value = value << 8 | static_cast<unsigned char>(each);
    _bytes.remove_prefix(size);
    return value;
  }
  bool isGood() const { return _isGood; }

 private:
  std::string_view _bytes;
  bool _isGood = true;
};

}  // namespace streaming
