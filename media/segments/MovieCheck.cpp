#include "media/segments/MovieCheck.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <utility>

namespace media {
namespace {

/// Allowed if little of the file is known, as at the start of a live segment.
constexpr std::uint64_t kFreeSamples = std::uint64_t{1} << 16;
constexpr std::size_t kShortHeader = 8;
constexpr std::size_t kLongHeader = 16;
constexpr std::size_t kDeepest = 16;
constexpr std::uint64_t kEndless = std::numeric_limits<std::uint64_t>::max();

constexpr std::uint32_t kContainers[] = {
    boxType("moov"), boxType("trak"), boxType("mdia"), boxType("minf"),
    boxType("stbl"), boxType("moof"), boxType("traf"), boxType("mvex"),
    boxType("edts"), boxType("udta"), boxType("dinf"), boxType("tref"),
    boxType("sinf"), boxType("schi"), boxType("wave"), boxType("meta")};
constexpr std::uint32_t kTopLevel[] = {
    boxType("moof"), boxType("moov"), boxType("styp"), boxType("ftyp"), boxType("sidx"),
    boxType("mdat"), boxType("emsg"), boxType("prft"), boxType("free"), boxType("skip"),
    boxType("wide"), boxType("uuid"), boxType("junk"), boxType("pnot"), boxType("pict"),
    boxType("udta"), boxType("meta")};
constexpr std::size_t kMostDataBoxes = 65536;

template <std::size_t Count>
bool isOneOf(std::uint32_t type, const std::uint32_t (&types)[Count]) {
  return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

/// Returns the size of the first part of the content, which is checked.
std::size_t sizeOfCheckedPart(std::uint32_t type) {
  if (type == boxType("trun")) return 8;
  if (type == boxType("stsz")) return 12;
  if (type == boxType("tkhd")) return 24;
  return type == boxType("meta") ? 8 : 0;
}

}  // namespace

bool MovieCheck::accepts(std::uint64_t position, std::span<const std::uint8_t> bytes,
                         std::uint64_t fileSize) {
  if (position != _position) _seek(position);
  while (!bytes.empty()) {
    const std::uint64_t gap = _skipTo > _position ? _skipTo - _position : 0;
    const std::size_t missing = gap > 0 ? 0 : _wanted - _head.size();
    const auto part =
        static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), gap > 0 ? gap : missing));
    if (gap == 0) _head.insert(_head.end(), bytes.begin(), bytes.begin() + std::ptrdiff_t(part));
    bytes = bytes.subspan(part);
    _position += part;
    while (_head.size() >= _wanted) _takeHead();
  }
  return !_isOccupying && _samples <= kFreeSamples + fileSize;
}

void MovieCheck::_seek(std::uint64_t position) {
  _position = position;
  _skipTo = position;
  _head.clear();
  _wanted = kShortHeader;
  _ends.clear();
  _hasSought = true;
  const auto next = _data.upper_bound(position);
  if (next == _data.begin() || std::prev(next)->second <= position) return;
  _skipTo = std::prev(next)->second;
  _hasSought = false;
}

void MovieCheck::_takeHead() {
  BoxReader reader(_head);
  std::uint64_t size = reader.number32();
  const std::uint32_t type = reader.number32();
  if (_hasSought && !isOneOf(type, kTopLevel)) {
    _skipTo = kEndless;
    _head.clear();
    return;
  }
  const std::size_t headerSize = size == 1 ? kLongHeader : kShortHeader;
  const std::size_t wanted = headerSize + sizeOfCheckedPart(type);
  if (_head.size() < wanted) {
    _wanted = wanted;
    return;
  }
  if (size == 1) size = reader.number(8);
  _checkContent(type, reader);
  // In QuickTime "meta" has no version and begins with a box.
  reader.take(4);
  const bool hasVersion = type == boxType("meta") && reader.number32() != boxType("hdlr");
  _beginBox(type, size, headerSize + (hasVersion ? 4 : 0));
}

void MovieCheck::_checkContent(std::uint32_t type, BoxReader content) {
  if (type == boxType("trun")) {
    content.take(4);
    _samples += content.number32();
  } else if (type == boxType("stsz")) {
    content.take(8);
    _samples += content.number32();
  } else if (type == boxType("trak")) {
    _unnumbered += std::exchange(_isNewestUnnumbered, true) ? 1 : 0;
  } else if (type == boxType("tkhd")) {
    content.take(content.version() == 1 ? 16 : 8);
    _isNewestUnnumbered = content.number32() > std::uint32_t{INT32_MAX};
  } else if (type == boxType("moof")) {
    _isOccupying = _isOccupying || _isNewestUnnumbered || _unnumbered > 0;
  } else if (type == boxType("cmov")) {
    _isOccupying = true;  // compressed boxes are not checked
  }
}

void MovieCheck::_beginBox(std::uint32_t type, std::uint64_t size, std::size_t contentOffset) {
  const std::uint64_t start = _position - _head.size();
  const std::uint64_t limit = _ends.empty() ? kEndless : _ends.back();
  const bool isEndless = size == 0 || size > limit - start;
  const std::uint64_t end =
      isEndless ? limit : std::min(limit, start + std::max<std::uint64_t>(size, contentOffset));
  if (type == boxType("mdat") && _data.size() < kMostDataBoxes) _data[start] = end;
  _hasSought = false;
  _wanted = kShortHeader;
  const bool isContainer = isOneOf(type, kContainers) && _ends.size() < kDeepest;
  if (isContainer) _ends.push_back(end);
  _skipTo = isContainer ? std::min(start + contentOffset, end) : end;
  _endBoxes();
  // If the box is shorter than its checked part, the next one has begun.
  const auto taken = std::min<std::uint64_t>(_skipTo - start, _head.size());
  _head.erase(_head.begin(), _head.begin() + std::ptrdiff_t(taken));
}

/// Leaves the boxes that have no room for another one.
void MovieCheck::_endBoxes() {
  while (!_ends.empty() && _ends.back() - _skipTo < kShortHeader) {
    _skipTo = _ends.back();
    _ends.pop_back();
  }
}

}  // namespace media
