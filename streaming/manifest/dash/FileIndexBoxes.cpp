#include <algorithm>
#include <utility>

#include "streaming/manifest/dash/FileIndexParts.h"

namespace streaming {
namespace {

constexpr unsigned kMaxIndexDepth = 4;
constexpr std::size_t kMaxReferences = 200'000;
constexpr std::uint64_t kSidxType = 0x73696478;

class SidxReader {
 public:
  SidxReader(const IndexedFile& file, std::uint64_t offset, std::string_view head)
      : _file(file), _offset(offset), _head(head) {}

  FileIndexParts read(std::uint64_t position) {
    _initialization = initializationOf(_file, position);
    _readBox(position, 1);
    // Nested indexes that are close together are read as a whole. If they are spread over the file,
    // each reference becomes one segment.
    if (_needed > 0 && _needed - _offset <= kMaxIndexBytes)
      _parts.needed = ByteSpan{_offset, _needed - _offset};
    return std::move(_parts);
  }

 private:
  /// False: the box is not in `_head`, or it is not a valid index.
  bool _readBox(std::uint64_t position, unsigned depth) {
    if (position < _offset || position - _offset >= _head.size()) return false;
    const std::string_view rest = _head.substr(position - _offset);
    ByteReader reader(rest);
    std::uint64_t size = reader.number(4);
    if (reader.number(4) != kSidxType) return false;
    if (size == 1) size = reader.number(8);
    if (!reader.isGood() || rest.size() < size) return false;
    return _readContent(reader, position + size, depth);
  }

  bool _readContent(ByteReader reader, std::uint64_t end, unsigned depth) {
    const std::uint64_t version = reader.number(1);
    reader.number(3 + 4);
    const auto timescale = static_cast<double>(reader.number(4));
    const std::size_t size = version == 0 ? 4 : 8;
    auto time = static_cast<double>(reader.number(size));
    std::uint64_t position = end + reader.number(size);
    reader.number(2);
    const std::uint64_t count = reader.number(2);
    if (!reader.isGood() || timescale < 1 || position < end) return false;
    for (std::uint64_t at = 0; at < count && _references < kMaxReferences; ++at) {
      ++_references;
      const std::uint64_t reference = reader.number(4);
      const auto duration = static_cast<double>(reader.number(4));
      reader.number(4);
      if (!reader.isGood()) break;
      const bool isIndex = (reference & 0x80000000) != 0;
      const std::uint64_t length = reference & 0x7fffffff;
      if (isIndex && depth < kMaxIndexDepth && _readBox(position, depth + 1)) {
        // The nested index has added its segments.
      } else {
        if (isIndex)
          _needed = std::max(_needed, _isWithin(position, length) ? 0 : position + length);
        Segment segment;
        segment.number = _number++;
        segment.start = time / timescale + _file.timeOffset;
        segment.duration = duration / timescale;
        segment.resource = _file.file;
        segment.resource.span = ByteSpan{position, length};
        segment.initialization = _initialization;
        addFileSegment(_file, std::move(segment), _parts);
      }
      time += duration;
      position += length;
    }
    return true;
  }

  bool _isWithin(std::uint64_t position, std::uint64_t length) const {
    return position >= _offset && position - _offset + length <= _head.size();
  }

  const IndexedFile& _file;
  const std::uint64_t _offset;
  const std::string_view _head;
  std::shared_ptr<const Initialization> _initialization;
  FileIndexParts _parts;
  std::uint64_t _needed = 0;  // end of the bytes to read; 0: none
  std::uint64_t _number = 0;
  std::size_t _references = 0;
};

}  // namespace

FileIndexParts readSegmentIndexBox(const IndexedFile& file, std::uint64_t offset,
                                   std::string_view head, std::uint64_t at) {
  return SidxReader(file, offset, head).read(offset + at);
}

}  // namespace streaming
