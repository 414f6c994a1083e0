#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include "streaming/manifest/dash/FileIndexParts.h"

namespace streaming {
namespace {

constexpr std::size_t kMaxCues = 200'000;
constexpr std::uint64_t kUnknownSize = ~std::uint64_t{0};

// IDs of Matroska elements.
constexpr std::uint64_t kEBML = 0x1A45DFA3;
constexpr std::uint64_t kSegmentElement = 0x18538067;
constexpr std::uint64_t kInfo = 0x1549A966;
constexpr std::uint64_t kTimestampScale = 0x2AD7B1;
constexpr std::uint64_t kDuration = 0x4489;
constexpr std::uint64_t kSeekHead = 0x114D9B74;
constexpr std::uint64_t kSeek = 0x4DBB;
constexpr std::uint64_t kSeekID = 0x53AB;
constexpr std::uint64_t kSeekPosition = 0x53AC;
constexpr std::uint64_t kCluster = 0x1F43B675;
constexpr std::uint64_t kCues = 0x1C53BB6B;
constexpr std::uint64_t kCuePoint = 0xBB;
constexpr std::uint64_t kCueTime = 0xB3;
constexpr std::uint64_t kCueTrackPositions = 0xB7;
constexpr std::uint64_t kCueClusterPosition = 0xF1;

struct Element {
  std::uint64_t id = 0;
  std::uint64_t size = 0;      // of the content
  std::size_t headerSize = 0;  // of ID and size
};

/// nullopt: the header is incomplete or invalid.
std::optional<Element> elementAt(std::string_view bytes) {
  if (bytes.empty()) return std::nullopt;
  Element element;
  const auto idSize =
      static_cast<std::size_t>(std::countl_zero(static_cast<unsigned char>(bytes.front())) + 1);
  if (idSize > 4 || bytes.size() <= idSize) return std::nullopt;
  ByteReader reader(bytes);
  element.id = reader.number(idSize);
  const auto sizeSize =
      static_cast<std::size_t>(std::countl_zero(static_cast<unsigned char>(bytes[idSize])) + 1);
  if (sizeSize > 8) return std::nullopt;
  const std::uint64_t mask = (std::uint64_t{1} << 7 * sizeSize) - 1;
  element.size = reader.number(sizeSize) & mask;
  if (!reader.isGood()) return std::nullopt;
  if (element.size == mask) element.size = kUnknownSize;
  element.headerSize = idSize + sizeSize;
  return element;
}

/// Calls `found` for each complete child element of `content`.
template <typename Found>
void eachElement(std::string_view content, const Found& found) {
  while (const auto element = elementAt(content)) {
    content.remove_prefix(element->headerSize);
    if (element->size > content.size()) return;
    found(element->id, content.substr(0, element->size));
    content.remove_prefix(element->size);
  }
}

std::uint64_t integerIn(std::string_view content) {
  ByteReader reader(content);
  return content.size() <= 8 ? reader.number(content.size()) : 0;
}

double floatIn(std::string_view content) {
  const std::uint64_t bits = integerIn(content);
  if (content.size() == 4) return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
  return content.size() == 8 ? std::bit_cast<double>(bits) : 0;
}

class CueReader {
 public:
  CueReader(const IndexedFile& file, std::string_view head) : _file(file), _head(head) {}

  FileIndexParts read() {
    FileIndexParts parts;
    const auto header = elementAt(_head);
    if (!header || header->size > kMaxIndexBytes) return parts;
    std::uint64_t at = header->headerSize + header->size;
    const auto segment = elementAt(_from(at));
    if (!segment) {
      _need(at + kReadAhead, parts);
      return parts;
    }
    if (segment->id != kSegmentElement) return parts;
    _dataStart = at + segment->headerSize;
    _dataEnd =
        segment->size < kUnknownSize - _dataStart ? _dataStart + segment->size : kUnknownSize;
    _walk(_dataStart, parts);
    if (!parts.needed) _addSegments(parts);
    return parts;
  }

 private:
  static constexpr std::uint64_t kReadAhead = std::uint64_t{64} * 1024;
  struct Cue {
    std::uint64_t time = 0;
    std::uint64_t position = 0;  // offset in the file
  };

  std::string_view _from(std::uint64_t at) const {
    return _head.substr(std::min<std::uint64_t>(at, _head.size()));
  }

  /// Requests the file up to `end`, within the limit.
  static void _need(std::uint64_t end, FileIndexParts& parts) {
    if (end <= kMaxIndexBytes) parts.needed = ByteSpan{0, end};
  }

  /// Visits the top-level elements until the Cues are found.
  void _walk(std::uint64_t at, FileIndexParts& parts) {
    while (true) {
      const auto element = elementAt(_from(at));
      if (!element) return at >= _head.size() ? _need(at + kReadAhead, parts) : void();
      if (element->id == kCluster) {
        // The Cues are after the clusters.
        if (_cuesPosition <= at) return;
        at = std::exchange(_cuesPosition, 0);
        if (at >= _head.size()) return _need(at + kReadAhead, parts);
        continue;
      }
      if (element->size > kMaxIndexBytes) return;
      const std::uint64_t content = at + element->headerSize;
      const std::uint64_t end = content + element->size;
      if (end > _head.size()) return _need(end, parts);
      _note(*element, at, _head.substr(content, element->size));
      if (element->id == kCues) return;
      at = end;
    }
  }

  void _note(const Element& element, std::uint64_t at, std::string_view content) {
    if (element.id == kInfo) {
      eachElement(content, [&](std::uint64_t id, std::string_view value) {
        if (id == kTimestampScale) _scale = static_cast<double>(integerIn(value)) / 1e9;
        if (id == kDuration) _duration = floatIn(value);
      });
    } else if (element.id == kSeekHead) {
      eachElement(content, [&](std::uint64_t, std::string_view seek) {
        std::uint64_t wanted = 0;
        std::uint64_t position = 0;
        eachElement(seek, [&](std::uint64_t id, std::string_view value) {
          if (id == kSeekID) wanted = integerIn(value);
          if (id == kSeekPosition) position = integerIn(value);
        });
        if (wanted == kCues && position <= kMaxIndexBytes) _cuesPosition = _dataStart + position;
      });
    } else if (element.id == kCues) {
      _cuesBegin = at;
      eachElement(content, [&](std::uint64_t id, std::string_view point) {
        if (id == kCuePoint && _cues.size() < kMaxCues) _addCue(point);
      });
    }
  }

  void _addCue(std::string_view point) {
    std::optional<std::uint64_t> time;
    std::optional<std::uint64_t> position;
    eachElement(point, [&](std::uint64_t id, std::string_view value) {
      if (id == kCueTime) time = integerIn(value);
      if (id != kCueTrackPositions || position) return;
      eachElement(value, [&](std::uint64_t inner, std::string_view bytes) {
        if (inner == kCueClusterPosition) position = integerIn(bytes);
      });
    });
    constexpr auto kMaxPosition = std::uint64_t{1} << 62;
    if (!time || !position || *position > kMaxPosition) return;
    const Cue cue{*time, _dataStart + *position};
    const bool isLater =
        _cues.empty() || (cue.time > _cues.back().time && cue.position > _cues.back().position);
    if (isLater) _cues.push_back(cue);
  }

  void _addSegments(FileIndexParts& parts) const {
    if (_cues.empty() || !(_scale > 0)) return;
    const auto initialization = initializationOf(_file, _cues.front().position);
    for (std::size_t at = 0; at < _cues.size(); ++at) {
      const Cue& cue = _cues[at];
      const bool isLast = at + 1 == _cues.size();
      Segment segment;
      segment.number = at;
      segment.start = static_cast<double>(cue.time) * _scale + _file.timeOffset;
      const double end = isLast
                             ? _end(segment.start)
                             : static_cast<double>(_cues[at + 1].time) * _scale + _file.timeOffset;
      segment.duration = std::max(0.0, end - segment.start);
      segment.resource = _file.file;
      std::uint64_t next = _dataEnd;
      if (!isLast)
        next = _cues[at + 1].position;
      else if (_cuesBegin > cue.position)
        next = std::min(next, _cuesBegin);
      segment.resource.span = ByteSpan{cue.position, std::nullopt};
      if (next != kUnknownSize && next > cue.position)
        segment.resource.span->length = next - cue.position;
      segment.initialization = initialization;
      addFileSegment(_file, std::move(segment), parts);
    }
  }

  /// The end of the last segment, which starts at `start`.
  double _end(double start) const {
    constexpr double kDefaultDuration = 5;
    const double end = _duration * _scale + _file.timeOffset;
    if (std::isfinite(end) && end > start) return end;
    return _file.periodEnd && *_file.periodEnd > start ? *_file.periodEnd
                                                       : start + kDefaultDuration;
  }

  const IndexedFile& _file;
  const std::string_view _head;
  std::uint64_t _dataStart = 0;
  std::uint64_t _dataEnd = kUnknownSize;
  std::uint64_t _cuesPosition = 0;  // from the SeekHead; 0: unknown
  std::uint64_t _cuesBegin = 0;
  double _scale = 0.001;  // seconds per unit
  double _duration = 0;   // in units
  std::vector<Cue> _cues;
};

}  // namespace

bool isWebM(std::string_view head) {
  const auto element = elementAt(head);
  return element && (element->id == kEBML || element->id == kCues);
}

FileIndexParts readCues(const IndexedFile& file, std::uint64_t offset, std::string_view head) {
  if (offset == 0) return CueReader(file, head).read();
  // Without the start of the file, cluster positions and the time scale are unknown.
  FileIndexParts parts;
  const auto cues = elementAt(head);
  if (!cues || cues->size > kMaxIndexBytes) return parts;
  const std::uint64_t end = offset + cues->headerSize + cues->size;
  if (end <= kMaxIndexBytes) parts.needed = ByteSpan{0, end};
  return parts;
}

}  // namespace streaming
