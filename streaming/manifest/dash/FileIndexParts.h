#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "streaming/manifest/ManifestReader.h"

namespace streaming {

/// No more of a file is read for its index.
inline constexpr std::uint64_t kMostIndexBytes = std::uint64_t{4} * 1024 * 1024;

/// What the bytes of an index tell. No segments: it is unusable.
struct FileIndexParts {
  std::vector<Segment> segments;   // in order
  std::optional<ByteSpan> needed;  // to be read before anything can be told
};

/// The `sidx` box that begins `at` bytes behind `offset`, where `head` begins, and those that it
/// refers to. The box itself is within `head`.
FileIndexParts readSegmentIndexBox(const IndexedFile& file, std::uint64_t offset,
                                   std::string_view head, std::uint64_t at);

/// An EBML document, or Cues alone.
bool isWebM(std::string_view head);
FileIndexParts readCues(const IndexedFile& file, std::uint64_t offset, std::string_view head);

/// Adds a segment unless it is empty or outside of the period.
void addFileSegment(const IndexedFile& file, Segment segment, FileIndexParts& parts);

/// The initialization of `file`; without one, its first `size` bytes.
std::shared_ptr<const Initialization> beginningOf(const IndexedFile& file, std::uint64_t size);

/// Reads big-endian numbers; 0 beyond the end, and isGood() tells.
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
