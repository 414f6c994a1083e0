#include "media/texts/matroska/MatroskaTracks.h"

#include <algorithm>

#include "media/texts/matroska/Ebml.h"

namespace media {
namespace {

using Bytes = MatroskaTracks::Bytes;

constexpr std::size_t kHeadLimit = std::size_t{1} << 20;
constexpr std::size_t kTrackLimit = 256;
constexpr std::size_t kCodecLimit = 64;
constexpr std::size_t kPrivateLimit = std::size_t{64} << 10;

constexpr std::uint64_t kSegment = 0x18538067;
constexpr std::uint64_t kCluster = 0x1F43B675;
constexpr std::uint64_t kTracks = 0x1654AE6B;
constexpr std::uint64_t kTrackEntry = 0xAE;
constexpr std::uint64_t kTrackNumber = 0xD7;
constexpr std::uint64_t kFlagForced = 0x55AA;
constexpr std::uint64_t kCodecID = 0x86;
constexpr std::uint64_t kCodecPrivate = 0x63A2;

bool beginsWithTracks(Bytes bytes) {
  const auto type = takeEbmlNumber(bytes, true);
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
  while (const auto element = takeEbmlElement(rest)) {
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
  forEachEbmlElement(content, [this](std::uint64_t type, Bytes entry) {
    if (type != kTrackEntry || _tracks.size() == kTrackLimit) return;
    std::uint64_t number = 0;
    Track track;
    forEachEbmlElement(entry, [&](std::uint64_t field, Bytes value) {
      if (field == kTrackNumber) number = ebmlNumber(value);
      if (field == kFlagForced) track.forced = ebmlNumber(value) != 0;
      if (field == kCodecID && value.size() <= kCodecLimit)
        track.codec.assign(value.begin(), std::find(value.begin(), value.end(), 0));
      if (field == kCodecPrivate && value.size() <= kPrivateLimit)
        track.codecPrivate.assign(value.begin(), value.end());
    });
    if (!track.codec.starts_with("S_TEXT/WEBVTT")) track.codecPrivate.clear();
    _tracks[number] = std::move(track);
  });
}

}  // namespace media
