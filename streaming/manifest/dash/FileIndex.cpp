// Reads the index of a DASH file: the `sidx` box of ISO/IEC 14496-12, or Cues of WebM.

#include <algorithm>
#include <utility>
#include <vector>

#include "streaming/manifest/dash/FileIndexParts.h"

namespace streaming {
namespace {

constexpr double kFileTolerance = 0.001;

class FileSegmentIndex final : public SegmentIndex {
 public:
  explicit FileSegmentIndex(std::vector<Segment> segments) : _segments(std::move(segments)) {}

  std::optional<Segment> at(double time) const override {
    const auto found = std::upper_bound(
        _segments.begin(), _segments.end(), time + kFileTolerance,
        [](double wanted, const Segment& segment) { return wanted < segment.end(); });
    return found == _segments.end() ? std::nullopt : std::optional(*found);
  }
  std::optional<Segment> after(const Segment& previous) const override {
    // Search by time: another representation may have other segment boundaries.
    auto next = std::upper_bound(
        _segments.begin(), _segments.end(), previous.start + previous.duration / 2,
        [](double wanted, const Segment& segment) { return wanted < segment.start; });
    return next == _segments.end() ? std::nullopt : std::optional(*next);
  }
  std::optional<Segment> first(platform::Date) const override {
    return _segments.empty() ? std::nullopt : std::optional(_segments.front());
  }
  std::optional<Segment> last(platform::Date) const override {
    return _segments.empty() ? std::nullopt : std::optional(_segments.back());
  }
  bool isComplete() const override { return true; }

 private:
  const std::vector<Segment> _segments;
};

std::shared_ptr<const SegmentIndex> wholeFile(const IndexedFile& file) {
  Segment segment;
  segment.start = file.periodStart;
  segment.duration = file.periodEnd ? std::max(0.0, *file.periodEnd - file.periodStart) : 86400.0;
  segment.resource = file.file;
  segment.initialization = file.initialization;
  return std::make_shared<FileSegmentIndex>(std::vector<Segment>{std::move(segment)});
}

std::variant<std::shared_ptr<const SegmentIndex>, ByteSpan, platform::Error> indexIn(
    FileIndexParts parts, const IndexedFile& file) {
  if (parts.needed) return *parts.needed;
  if (parts.segments.empty()) return wholeFile(file);
  return std::make_shared<FileSegmentIndex>(std::move(parts.segments));
}

}  // namespace

void addFileSegment(const IndexedFile& file, Segment segment, FileIndexParts& parts) {
  const bool isPlayed = segment.end() > file.periodStart + kFileTolerance &&
                        (!file.periodEnd || segment.start < *file.periodEnd - kFileTolerance);
  const bool isEmpty = segment.resource.span && segment.resource.span->length == 0;
  if (isPlayed && !isEmpty) parts.segments.push_back(std::move(segment));
}

std::shared_ptr<const Initialization> initializationOf(const IndexedFile& file,
                                                       std::uint64_t size) {
  if (file.initialization) return file.initialization;
  Initialization before;
  before.resource = file.file;
  before.resource.span = ByteSpan{0, size};
  return std::make_shared<const Initialization>(std::move(before));
}

std::variant<std::shared_ptr<const SegmentIndex>, ByteSpan, platform::Error> readFileIndex(
    const IndexedFile& file, std::uint64_t offset, std::string_view head) {
  if (isWebM(head)) return indexIn(readCues(file, offset, head), file);
  std::uint64_t at = 0;
  while (true) {
    constexpr std::size_t kHeader = 16;
    const std::string_view rest = head.substr(std::min<std::uint64_t>(at, head.size()));
    ByteReader reader(rest);
    std::uint64_t size = reader.number(4);
    const std::uint64_t type = reader.number(4);
    std::uint64_t headerSize = 8;
    if (size == 1) {
      size = reader.number(8);
      headerSize = kHeader;
    }
    if (!reader.isGood()) {
      // Either the file is short, or more bytes are needed for the next box header.
      if (head.size() < kHeader || at >= kMaxIndexBytes) return wholeFile(file);
      return ByteSpan{
          offset, std::min(kMaxIndexBytes, std::max<std::uint64_t>(2 * head.size(), at + 4096))};
    }
    constexpr std::uint64_t kSidx = 0x73696478;
    constexpr std::uint64_t kMoof = 0x6d6f6f66;
    constexpr std::uint64_t kMdat = 0x6d646174;
    const auto isLetter = [](std::uint64_t byte) { return byte >= 0x20 && byte < 0x7f; };
    const bool isBox = size >= headerSize && isLetter(type & 0xff) && isLetter(type >> 8 & 0xff);
    if (!isBox || type == kMoof || type == kMdat) return wholeFile(file);
    if (type == kSidx) {
      if (size > kMaxIndexBytes) return wholeFile(file);
      if (rest.size() < size) return ByteSpan{offset, at + size};
      return indexIn(readSegmentIndexBox(file, offset, head, at), file);
    }
    if (size > kMaxIndexBytes) return wholeFile(file);
    at += size;
  }
}

}  // namespace streaming
