// The index of a DASH file: the `sidx` box of ISO/IEC 14496-12.

#include <algorithm>
#include <utility>
#include <vector>

#include "streaming/manifest/ManifestErrors.h"
#include "streaming/manifest/ManifestReader.h"

namespace streaming {
namespace {

constexpr std::uint64_t kMostIndexBytes = std::uint64_t{4} * 1024 * 1024;
constexpr double kFileTolerance = 0.001;

/// The segments of a file, in order.
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
    // By time, since another representation may be cut in other places.
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

std::shared_ptr<const SegmentIndex> wholeFile(const IndexedFile& file) {
  Segment segment;
  segment.start = file.periodStart;
  segment.duration = file.periodEnd ? std::max(0.0, *file.periodEnd - file.periodStart) : 86400.0;
  segment.resource = file.file;
  segment.initialization = file.initialization;
  return std::make_shared<FileSegmentIndex>(std::vector<Segment>{std::move(segment)});
}

/// `content`: of the box, behind its header. `end`: of the box in the file.
std::shared_ptr<const SegmentIndex> segmentsOf(const IndexedFile& file, std::string_view content,
                                               std::uint64_t boxOffset, std::uint64_t end) {
  ByteReader reader(content);
  const std::uint64_t version = reader.number(1);
  reader.number(3 + 4);
  const auto timescale = static_cast<double>(reader.number(4));
  const std::size_t size = version == 0 ? 4 : 8;
  auto time = static_cast<double>(reader.number(size));
  std::uint64_t offset = end + reader.number(size);
  reader.number(2);
  const std::uint64_t count = reader.number(2);
  if (!reader.isGood() || timescale < 1 || offset < end) return nullptr;
  // The initialization is what lies before the index, where nothing else is said.
  std::shared_ptr<const Initialization> initialization = file.initialization;
  if (!initialization) {
    Initialization before;
    before.resource = file.file;
    before.resource.span = ByteSpan{0, boxOffset};
    initialization = std::make_shared<const Initialization>(std::move(before));
  }
  std::vector<Segment> segments;
  for (std::uint64_t at = 0; at < count; ++at) {
    const std::uint64_t reference = reader.number(4);
    const auto duration = static_cast<double>(reader.number(4));
    reader.number(4);
    if (!reader.isGood()) break;
    Segment segment;
    segment.number = at;
    segment.start = time / timescale + file.timeOffset;
    segment.duration = duration / timescale;
    segment.resource = file.file;
    segment.resource.span = ByteSpan{offset, reference & 0x7fffffff};
    segment.initialization = initialization;
    time += duration;
    offset += reference & 0x7fffffff;
    const bool isPlayed = segment.end() > file.periodStart + kFileTolerance &&
                          (!file.periodEnd || segment.start < *file.periodEnd - kFileTolerance);
    if (isPlayed && segment.resource.span->length != 0) segments.push_back(std::move(segment));
  }
  if (segments.empty()) return nullptr;
  return std::make_shared<FileSegmentIndex>(std::move(segments));
}

}  // namespace

std::variant<std::shared_ptr<const SegmentIndex>, ByteSpan, platform::Error> readFileIndex(
    const IndexedFile& file, std::uint64_t offset, std::string_view head) {
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
      // The end of a short file, or more is needed to know what follows.
      if (head.size() < kHeader || at >= kMostIndexBytes) return wholeFile(file);
      return ByteSpan{
          offset, std::min(kMostIndexBytes, std::max<std::uint64_t>(2 * head.size(), at + 4096))};
    }
    constexpr std::uint64_t kSidx = 0x73696478;
    constexpr std::uint64_t kMoof = 0x6d6f6f66;
    constexpr std::uint64_t kMdat = 0x6d646174;
    const auto isLetter = [](std::uint64_t byte) { return byte >= 0x20 && byte < 0x7f; };
    const bool isBox = size >= headerSize && isLetter(type & 0xff) && isLetter(type >> 8 & 0xff);
    if (!isBox || type == kMoof || type == kMdat) return wholeFile(file);
    if (type == kSidx) {
      if (size > kMostIndexBytes) return wholeFile(file);
      if (rest.size() < size) return ByteSpan{offset, at + size};
      auto index = segmentsOf(file, rest.substr(headerSize, size - headerSize), offset + at,
                              offset + at + size);
      return index ? index : wholeFile(file);
    }
    if (size > kMostIndexBytes) return wholeFile(file);
    at += size;
  }
}

}  // namespace streaming
