#include "media/texts/matroska/MatroskaAdditions.h"

#include <algorithm>

#include "media/texts/matroska/Ebml.h"

namespace media {
namespace {

constexpr std::size_t kMaxElement = std::size_t{64} << 10;
constexpr std::size_t kMaxAdditions = 1024;
constexpr std::size_t kMaxAdditionBytes = 1024;
constexpr std::size_t kMinElementHeader = 2;
constexpr std::size_t kMaxElementHeader = 12;

namespace matroska {
constexpr std::uint64_t kSegment = 0x18538067;
constexpr std::uint64_t kInfo = 0x1549A966;
constexpr std::uint64_t kTimestampScale = 0x2AD7B1;
constexpr std::uint64_t kCluster = 0x1F43B675;
constexpr std::uint64_t kTimestamp = 0xE7;
constexpr std::uint64_t kBlockGroup = 0xA0;
constexpr std::uint64_t kBlock = 0xA1;
constexpr std::uint64_t kBlockAdditions = 0x75A1;
constexpr std::uint64_t kBlockMore = 0xA6;
constexpr std::uint64_t kBlockAdditional = 0xA5;
}  // namespace matroska

std::string firstAddition(MatroskaAdditions::Bytes additions) {
  std::string text;
  forEachEbmlElement(additions, [&](std::uint64_t type, EbmlBytes more) {
    if (type != matroska::kBlockMore || !text.empty()) return;
    forEachEbmlElement(more, [&](std::uint64_t field, EbmlBytes value) {
      if (field == matroska::kBlockAdditional)
        text.assign(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(
                                                       std::min(value.size(), kMaxAdditionBytes)));
    });
  });
  return text;
}

}  // namespace

void MatroskaAdditions::feed(std::uint64_t offset, Bytes bytes) {
  const bool overlaps = offset < _nextOffset && offset + bytes.size() > _nextOffset;
  if (overlaps) {
    bytes = bytes.subspan(static_cast<std::size_t>(_nextOffset - offset));
  } else if (offset != _nextOffset) {
    // The time of the cluster is known again from the next cluster on.
    _beginElement(0);
    _isLost = false;
    _clusterTime.reset();
    _nextOffset = offset;
  }
  _nextOffset += bytes.size();
  while (!bytes.empty() && !_isLost) {
    const std::uint64_t skipped = std::min<std::uint64_t>(_skips, bytes.size());
    bytes = bytes.subspan(static_cast<std::size_t>(skipped));
    _skips -= skipped;
    const std::size_t part = std::min(bytes.size(), _needed - _pending.size());
    _pending.insert(_pending.end(), bytes.begin(),
                    bytes.begin() + static_cast<std::ptrdiff_t>(part));
    bytes = bytes.subspan(part);
    if (_pending.size() == _needed) _takeElement();
  }
}

void MatroskaAdditions::_beginElement(std::uint64_t skips) {
  _pending.clear();
  _needed = kMinElementHeader;
  _skips = skips;
}

/// Reads the element of `_pending`, or determines how many bytes of it are needed.
void MatroskaAdditions::_takeElement() {
  Bytes rest(_pending);
  const auto element = takeEbmlElement(rest);
  if (!element) {
    _isLost = _pending.size() >= kMaxElementHeader;
    _needed = _pending.size() + 1;
    return;
  }
  if (element->type == matroska::kSegment || element->type == matroska::kCluster) {
    if (element->type == matroska::kCluster) _clusterTime.reset();
    _beginElement(0);
    return;
  }
  const bool isNeeded = element->type == matroska::kTimestamp ||
                        element->type == matroska::kBlockGroup || element->type == matroska::kInfo;
  if (!isNeeded || element->size > kMaxElement) {
    _beginElement(element->size);
    return;
  }
  const std::size_t header = _pending.size() - rest.size();
  _needed = header + static_cast<std::size_t>(element->size);
  if (_pending.size() < _needed) return;
  if (element->type == matroska::kTimestamp) _clusterTime = ebmlNumber(rest);
  if (element->type == matroska::kBlockGroup) _readBlockGroup(rest);
  if (element->type == matroska::kInfo)
    forEachEbmlElement(rest, [this](std::uint64_t type, EbmlBytes value) {
      if (type == matroska::kTimestampScale) _scale = ebmlNumber(value);
    });
  _beginElement(0);
}

void MatroskaAdditions::_readBlockGroup(Bytes group) {
  if (!_clusterTime) return;
  std::optional<Key> key;
  std::string text;
  forEachEbmlElement(group, [&](std::uint64_t type, EbmlBytes content) {
    if (type == matroska::kBlockAdditions) text = firstAddition(content);
    if (type != matroska::kBlock) return;
    const auto track = takeEbmlNumber(content, false);
    if (!track || content.size() < 2) return;
    const auto relative = static_cast<std::int16_t>(ebmlNumber(content.first(2)));
    const std::uint64_t time = *_clusterTime + static_cast<std::uint64_t>(std::int64_t{relative});
    key.emplace(*track, time * _scale);
  });
  if (!key || text.empty()) return;
  if (_additions.insert_or_assign(*key, std::move(text)).second) _order.push_back(*key);
  if (_order.size() <= kMaxAdditions) return;
  _additions.erase(_order.front());
  _order.pop_front();
}

const std::string* MatroskaAdditions::find(std::uint64_t track, std::uint64_t time) const {
  const auto found = _additions.find({track, time});
  return found == _additions.end() ? nullptr : &found->second;
}

}  // namespace media
