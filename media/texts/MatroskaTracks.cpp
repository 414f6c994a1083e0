#include "media/texts/MatroskaTracks.h"

#include <algorithm>
#include <bit>
#include <optional>

namespace media {
namespace {

using Bytes = MatroskaTracks::Bytes;

constexpr std::size_t kHeadLimit = std::size_t{1} << 20;
constexpr std::size_t kTrackLimit = 256;
constexpr std::size_t kCodecLimit = 64;

constexpr std::uint64_t kSegment = 0x18538067;
constexpr std::uint64_t kCluster = 0x1F43B675;
constexpr std::uint64_t kTracks = 0x1654AE6B;
constexpr std::uint64_t kTrackEntry = 0xAE;
constexpr std::uint64_t kTrackNumber = 0xD7;
constexpr std::uint64_t kFlagForced = 0x55AA;
constexpr std::uint64_t kCodecID = 0x86;

struct Element {
  std::uint64_t type = 0;
  std::uint64_t size = 0;
};

std::uint64_t numberOf(Bytes bytes) {
  std::uint64_t number = 0;
  for (const std::uint8_t each : bytes) number = number << 8 | each;
  return number;
}

/// Reads a variable-length integer of EBML. `keepsMark` keeps the length marker, as in element ids.
std::optional<std::uint64_t> takeVariableNumber(Bytes& bytes, bool keepsMark) {
  if (bytes.empty() || bytes[0] == 0) return std::nullopt;
  const auto size = static_cast<std::size_t>(std::countl_zero(bytes[0])) + 1;
  if (size > bytes.size()) return std::nullopt;
  std::uint64_t number = numberOf(bytes.first(size));
  if (!keepsMark) number &= (std::uint64_t{1} << (7 * size)) - 1;
  bytes = bytes.subspan(size);
  return number;
}

std::optional<Element> takeElement(Bytes& bytes) {
  const auto type = takeVariableNumber(bytes, true);
  const auto size = type ? takeVariableNumber(bytes, false) : std::nullopt;
  if (!size) return std::nullopt;
  return Element{*type, *size};
}

template <typename Take>
void forEachElement(Bytes bytes, const Take& take) {
  while (const auto element = takeElement(bytes)) {
    if (element->size > bytes.size()) return;
    const auto size = static_cast<std::size_t>(element->size);
    take(element->type, bytes.first(size));
    bytes = bytes.subspan(size);
  }
}

bool beginsWithTracks(Bytes bytes) {
  const auto type = takeVariableNumber(bytes, true);
  return type && *type == kTracks;
}

}  // namespace

void MatroskaTracks::feed(std::uint64_t offset, Bytes bytes) {
  if (_isDone) return;
  if (offset == 0 || beginsWithTracks(bytes))
    _head.clear();
  else if (offset != _nextOffset)
    return;
  _nextOffset = offset + bytes.size();
  const std::size_t part = std::min(bytes.size(), kHeadLimit - _head.size());
  _head.insert(_head.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(part));
  _parseHead();
  _isDone = _isDone || _head.size() == kHeadLimit;
  if (_isDone) _head = {};
}

void MatroskaTracks::_parseHead() {
  Bytes rest(_head);
  while (const auto element = takeElement(rest)) {
    if (element->type == kSegment) continue;
    _isDone = element->type == kCluster;
    if (_isDone || element->size > rest.size()) return;
    const auto size = static_cast<std::size_t>(element->size);
    _isDone = element->type == kTracks;
    if (_isDone) {
      _readTracks(rest.first(size));
      return;
    }
    rest = rest.subspan(size);
  }
}

void MatroskaTracks::_readTracks(Bytes content) {
  forEachElement(content, [this](std::uint64_t type, Bytes entry) {
    if (type != kTrackEntry || _tracks.size() == kTrackLimit) return;
    std::uint64_t number = 0;
    Track track;
    forEachElement(entry, [&](std::uint64_t field, Bytes value) {
      if (field == kTrackNumber) number = numberOf(value);
      if (field == kFlagForced) track.forced = numberOf(value) != 0;
      if (field == kCodecID && value.size() <= kCodecLimit)
        track.codec.assign(value.begin(), std::find(value.begin(), value.end(), 0));
    });
    _tracks[number] = std::move(track);
  });
}

}  // namespace media
