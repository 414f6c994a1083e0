#include "media/durations/MatroskaSpan.h"

#include <algorithm>
#include <cstdlib>
#include <map>

#include "media/durations/SpanBytes.h"
#include "media/texts/matroska/Ebml.h"

namespace media {
namespace {

constexpr std::size_t kMatroskaHead = std::size_t{64} << 10;
constexpr std::size_t kMatroskaTails[] = {std::size_t{1} << 20, std::size_t{4} << 20};

constexpr std::uint64_t kEbml = 0x1A45DFA3;
constexpr std::uint64_t kSegmentElement = 0x18538067;
constexpr std::uint64_t kInfoElement = 0x1549A966;
constexpr std::uint64_t kTimestampScaleElement = 0x2AD7B1;
constexpr std::uint64_t kDurationElement = 0x4489;
constexpr std::uint64_t kClusterElement = 0x1F43B675;
constexpr std::uint64_t kTimestampElement = 0xE7;
constexpr std::uint64_t kSimpleBlockElement = 0xA3;
constexpr std::uint64_t kBlockGroupElement = 0xA0;
constexpr std::uint64_t kBlockElement = 0xA1;
constexpr std::uint64_t kBlockDurationElement = 0x9B;

/// Nanoseconds of a unit of time, or 0 if the file states its duration or is no Matroska file.
std::uint64_t unitOfUnmeasured(const SpanBytes& bytes) {
  EbmlBytes head = bytes;
  std::uint64_t unit = 0;
  bool isFirst = true;
  while (const auto element = takeEbmlElement(head)) {
    if (isFirst && element->type != kEbml) return 0;
    isFirst = false;
    if (element->type == kSegmentElement) continue;
    if (element->type == kClusterElement || element->size > head.size()) break;
    const EbmlBytes content = head.first(static_cast<std::size_t>(element->size));
    head = head.subspan(content.size());
    if (element->type != kInfoElement) continue;
    bool isStated = false;
    unit = 1'000'000;
    forEachEbmlElement(content, [&](std::uint64_t type, EbmlBytes value) {
      if (type == kTimestampScaleElement) unit = ebmlNumber(value);
      // A floating-point number; some recorders write 0.
      if (type == kDurationElement) isStated = ebmlNumber(value) != 0;
    });
    if (isStated) return 0;
  }
  return unit;
}

/// The last blocks of the tracks, in units of the file.
class LastBlocks {
 public:
  void add(EbmlBytes block, std::int64_t clusterTime, std::int64_t duration) {
    const auto number = takeEbmlNumber(block, false);
    if (!number || block.size() < 2) return;
    const std::int64_t time = clusterTime + static_cast<std::int16_t>(ebmlNumber(block.first(2)));
    Track& track = _tracks[*number];
    // With B pictures, the smallest difference is the duration of a picture.
    const std::int64_t step = track.previous ? std::abs(time - *track.previous) : 0;
    if (step > 0) track.step = track.step > 0 ? std::min(track.step, step) : step;
    track.previous = time;
    track.last = std::max(track.last, time);
    _end = std::max(_end, time + duration);
  }
  /// Returns 0 if there are no blocks.
  std::int64_t end() const {
    std::int64_t end = _end;
    for (const auto& [number, track] : _tracks) end = std::max(end, track.last + track.step);
    return end;
  }

 private:
  struct Track {
    std::optional<std::int64_t> previous;
    std::int64_t last = 0;
    std::int64_t step = 0;
  };
  std::map<std::uint64_t, Track> _tracks;
  std::int64_t _end = 0;  // of blocks that state their duration
};

/// Reads the blocks of a cluster up to its end, or to an element that no cluster has.
void readCluster(EbmlBytes cluster, LastBlocks& blocks) {
  std::optional<std::int64_t> time;
  forEachEbmlElement(cluster, [&](std::uint64_t type, EbmlBytes content) {
    if (type == kTimestampElement && content.size() < sizeof(std::int64_t))
      time = static_cast<std::int64_t>(ebmlNumber(content));
    if (!time) return;
    if (type == kSimpleBlockElement) blocks.add(content, *time, 0);
    if (type != kBlockGroupElement) return;
    EbmlBytes block;
    std::uint32_t duration = 0;
    forEachEbmlElement(content, [&](std::uint64_t field, EbmlBytes value) {
      if (field == kBlockElement) block = value;
      if (field == kBlockDurationElement && value.size() <= sizeof(duration))
        duration = static_cast<std::uint32_t>(ebmlNumber(value));
    });
    blocks.add(block, *time, duration);
  });
}

/// Returns 0 if no cluster begins in the bytes.
std::int64_t endOfClusters(const SpanBytes& tail) {
  LastBlocks blocks;
  for (EbmlBytes bytes = tail; bytes.size() > 4; bytes = bytes.subspan(1)) {
    if (ebmlNumber(bytes.first(4)) != kClusterElement) continue;
    EbmlBytes content = bytes;
    const auto element = takeEbmlElement(content);
    if (!element) continue;
    // The size may be unknown, and the last cluster may be cut.
    readCluster(content.first(static_cast<std::size_t>(
                    std::min<std::uint64_t>(element->size, content.size()))),
                blocks);
  }
  return blocks.end();
}

}  // namespace

std::optional<double> durationOfMatroska(const ReadBytes& read, std::uint64_t size) {
  const std::uint64_t unit = unitOfUnmeasured(readSpan(read, 0, kMatroskaHead));
  if (unit == 0) return std::nullopt;
  for (const std::size_t length : kMatroskaTails) {
    if (const std::int64_t end = endOfClusters(readTail(read, size, length)); end > 0)
      return static_cast<double>(end) * static_cast<double>(unit) / 1e9;
  }
  return std::nullopt;
}

}  // namespace media
