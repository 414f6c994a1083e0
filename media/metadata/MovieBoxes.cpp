#include "media/metadata/MovieBoxes.h"

#include <algorithm>
#include <limits>

namespace media {
namespace {

constexpr std::size_t kBoxHeaderSize = 8;
constexpr std::size_t kLongHeaderSize = 16;
constexpr std::size_t kTrackLimit = 64;
constexpr std::uint64_t kEndless = std::numeric_limits<std::uint64_t>::max();

}  // namespace

std::uint64_t BoxReader::number(std::size_t size) {
  std::uint64_t result = 0;
  for (const std::uint8_t each : take(size)) result = result << 8 | each;
  return result;
}

std::string BoxReader::text() {
  const auto end = std::find(_bytes.begin(), _bytes.end(), 0);
  std::string result(_bytes.begin(), end);
  take(result.size() + 1);
  return result;
}

BoxBytes BoxReader::take(std::size_t size) {
  if (size > _bytes.size()) {
    _isGood = false;
    return std::exchange(_bytes, {});
  }
  const BoxBytes taken = _bytes.first(size);
  _bytes = _bytes.subspan(size);
  return taken;
}

std::uint8_t BoxReader::version() {
  const auto version = static_cast<std::uint8_t>(number(1));
  take(3);
  return version;
}

std::vector<MovieTrack> tracksOf(BoxBytes movie) {
  std::vector<MovieTrack> tracks;
  forEachBox(movie, boxType("trak"), [&](BoxBytes content) {
    if (tracks.size() == kTrackLimit) return;
    MovieTrack& track = tracks.emplace_back();
    track.content = content;
    const auto numberIn = [](BoxBytes box) {
      BoxReader reader(box);
      reader.take(reader.version() == 1 ? 16 : 8);
      return reader.number32();
    };
    forEachBox(content, boxType("tkhd"), [&](BoxBytes box) { track.number = numberIn(box); });
    forEachBox(content, "mdia/mdhd", [&](BoxBytes box) { track.timescale = numberIn(box); });
    forEachBox(content, "mdia/hdlr", [&](BoxBytes box) {
      BoxReader reader(box);
      reader.take(8);
      track.handler = reader.number32();
    });
  });
  return tracks;
}

void MovieBoxes::restart() {
  _box.clear();
  _boxSize = 0;
  _skip = 0;
}

std::size_t MovieBoxes::missingBytes() const {
  return _boxSize > 0 ? static_cast<std::size_t>(_boxSize) - _box.size() : 0;
}

void MovieBoxes::feed(BoxBytes bytes) {
  while (!bytes.empty()) {
    if (_skip > 0) {
      const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(_skip, bytes.size()));
      if (_skip != kEndless) _skip -= part;
      bytes = bytes.subspan(part);
      continue;
    }
    const std::size_t wanted = _boxSize > 0                   ? static_cast<std::size_t>(_boxSize)
                               : _box.size() < kBoxHeaderSize ? kBoxHeaderSize
                                                              : kLongHeaderSize;
    const std::size_t part = std::min(wanted - _box.size(), bytes.size());
    _box.insert(_box.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(part));
    bytes = bytes.subspan(part);
    if (_box.size() < wanted) return;
    if (_boxSize == 0) _beginBox();
    if (_boxSize > 0 && _box.size() == _boxSize) _takeBox();
  }
}

void MovieBoxes::_beginBox() {
  BoxReader header(_box);
  std::uint64_t size = header.number32();
  _type = header.number32();
  if (size == 1) {
    if (_box.size() < kLongHeaderSize) return;
    size = header.number(8);
  }
  _headerSize = _box.size();
  if (size >= _box.size() && size <= _limit(_type)) {
    _boxSize = size;
    return;
  }
  // A box with an invalid size, or a box that extends to the end of the file, is the last box.
  _skip = size < _box.size() ? kEndless : size - _box.size();
  _box.clear();
}

void MovieBoxes::_takeBox() {
  const std::vector<std::uint8_t> box = std::exchange(_box, {});
  _boxSize = 0;
  _take(_type, BoxBytes(box).subspan(_headerSize));
}

}  // namespace media
