#include "box/media/EventMessages.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "box/media/ID3Tag.h"

namespace box {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kLongHeaderSize = 16;
constexpr std::uint64_t kEventLimit = 64 * 1024;
constexpr std::uint64_t kTimesLimit = 1024 * 1024;
constexpr std::size_t kWaitingLimit = 64;
constexpr std::size_t kTrackLimit = 64;
constexpr std::uint64_t kEndless = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint32_t kUnknownDuration = 0xffffffff;
constexpr std::string_view kID3Scheme = "https://aomedia.org/emsg/ID3";

constexpr std::uint32_t typeOf(const char (&name)[5]) {
  std::uint32_t type = 0;
  for (std::size_t at = 0; at < 4; ++at) type = type << 8 | static_cast<unsigned char>(name[at]);
  return type;
}

/// Reads numbers and texts one after the other. What is not there is 0, or nothing, and `isGood`
/// tells.
class Reader {
 public:
  explicit Reader(Bytes bytes) : _bytes(bytes) {}

  std::uint64_t number(std::size_t size) {
    std::uint64_t result = 0;
    for (const std::uint8_t each : take(size)) result = result << 8 | each;
    return result;
  }
  std::uint32_t number32() { return static_cast<std::uint32_t>(number(4)); }
  std::string text() {
    const auto end = std::find(_bytes.begin(), _bytes.end(), 0);
    std::string result(_bytes.begin(), end);
    take(result.size() + 1);
    return result;
  }
  Bytes take(std::size_t size) {
    if (size > _bytes.size()) {
      _isGood = false;
      return std::exchange(_bytes, {});
    }
    const Bytes taken = _bytes.first(size);
    _bytes = _bytes.subspan(size);
    return taken;
  }
  Bytes rest() const { return _bytes; }
  bool isGood() const { return _isGood; }

 private:
  Bytes _bytes;
  bool _isGood = true;
};

/// Calls `take` for the content of each box of `type` in `bytes`.
template <typename Take>
void forEachBox(Bytes bytes, std::uint32_t type, const Take& take) {
  while (bytes.size() >= kHeaderSize) {
    Reader header(bytes);
    const std::uint32_t size = header.number32();
    if (size < kHeaderSize || size > bytes.size()) return;
    if (header.number32() == type) take(bytes.subspan(kHeaderSize, size - kHeaderSize));
    bytes = bytes.subspan(size);
  }
}

/// Of a box with a version, past its flags.
std::uint8_t versionOf(Reader& box) {
  const auto version = static_cast<std::uint8_t>(box.number(1));
  box.take(3);
  return version;
}

}  // namespace

MetadataTimeline::Items itemsOfEvent(const EventMessage& event) {
  if (event.scheme == kID3Scheme) return itemsOfID3Tag(event.data);
  platform::TimedMetadataItem item;
  item.key = event.value.empty() ? event.scheme : event.scheme + ' ' + event.value;
  item.keySpace = std::string(kKeySpaceEvents);
  const auto data = std::as_bytes(std::span(event.data));
  item.value = platform::Value(platform::Bytes(data.begin(), data.end()));
  item.extraAttributes.set(std::string(kEventIdentifier), std::uint64_t{event.identifier});
  if (event.duration) item.extraAttributes.set(std::string(kEventDuration), *event.duration);
  return {std::move(item)};
}

void EventMessages::restart(bool recount) {
  _box.clear();
  _boxSize = 0;
  _skip = 0;
  _waiting.clear();
  if (recount) _firstTime.reset();
}

void EventMessages::feed(Bytes bytes) {
  while (!bytes.empty()) {
    if (_skip > 0) {
      const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(_skip, bytes.size()));
      if (_skip != kEndless) _skip -= part;
      bytes = bytes.subspan(part);
      continue;
    }
    const std::size_t wanted = _boxSize > 0                ? static_cast<std::size_t>(_boxSize)
                               : _box.size() < kHeaderSize ? kHeaderSize
                                                           : kLongHeaderSize;
    const std::size_t part = std::min(wanted - _box.size(), bytes.size());
    _box.insert(_box.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(part));
    bytes = bytes.subspan(part);
    if (_box.size() < wanted) return;
    if (_boxSize == 0) _beginBox();
    if (_boxSize > 0 && _box.size() == _boxSize) _takeBox();
  }
}

void EventMessages::_beginBox() {
  Reader header(_box);
  std::uint64_t size = header.number32();
  const std::uint32_t type = header.number32();
  if (size == 1) {
    if (_box.size() < kLongHeaderSize) return;
    size = header.number(8);
  }
  const bool isEvent = type == typeOf("emsg");
  const bool tellsTimes = type == typeOf("moov") || type == typeOf("moof");
  const std::uint64_t limit = isEvent ? kEventLimit : tellsTimes ? kTimesLimit : 0;
  if (size >= _box.size() && size <= limit) {
    _boxSize = size;
    return;
  }
  // Damaged ones, and those that go on to the end of it all, hide whatever follows.
  _skip = size < _box.size() ? kEndless : size - _box.size();
  _box.clear();
}

void EventMessages::_takeBox() {
  const std::vector<std::uint8_t> box = std::exchange(_box, {});
  _boxSize = 0;
  Reader reader(box);
  const std::uint32_t size = reader.number32();
  const std::uint32_t type = reader.number32();
  if (size == 1) reader.take(8);
  if (type == typeOf("emsg")) _takeEvent(reader.rest());
  if (type == typeOf("moov")) _takeTracks(reader.rest());
  if (type == typeOf("moof")) _takeFragment(reader.rest());
}

void EventMessages::_takeEvent(Bytes box) {
  Reader reader(box);
  const std::uint8_t version = versionOf(reader);
  if (version > 1 || _waiting.size() == kWaitingLimit) return;
  EventMessage event;
  if (version == 0) {
    event.scheme = reader.text();
    event.value = reader.text();
  }
  const auto timescale = static_cast<double>(reader.number32());
  const auto time = static_cast<double>(reader.number(version == 0 ? 4 : 8));
  const std::uint32_t duration = reader.number32();
  event.identifier = reader.number32();
  if (version == 1) {
    event.scheme = reader.text();
    event.value = reader.text();
  }
  if (!reader.isGood() || timescale == 0) return;
  if (duration != kUnknownDuration) event.duration = duration / timescale;
  event.data.assign(reader.rest().begin(), reader.rest().end());
  _waiting.push_back({version == 1, time / timescale, std::move(event)});
}

void EventMessages::_takeTracks(Bytes box) {
  _timescales.clear();
  forEachBox(box, typeOf("trak"), [this](Bytes track) {
    std::uint32_t number = 0;
    forEachBox(track, typeOf("tkhd"), [&](Bytes content) {
      Reader reader(content);
      reader.take(versionOf(reader) == 1 ? 16 : 8);
      number = reader.number32();
    });
    forEachBox(track, typeOf("mdia"), [&](Bytes media) {
      forEachBox(media, typeOf("mdhd"), [&](Bytes content) {
        Reader reader(content);
        reader.take(versionOf(reader) == 1 ? 16 : 8);
        if (_timescales.size() < kTrackLimit) _timescales[number] = reader.number32();
      });
    });
  });
}

void EventMessages::_takeFragment(Bytes box) {
  std::optional<double> time;
  forEachBox(box, typeOf("traf"), [&](Bytes track) {
    if (time) return;
    std::uint32_t number = 0;
    forEachBox(track, typeOf("tfhd"), [&](Bytes content) {
      Reader reader(content);
      versionOf(reader);
      number = reader.number32();
    });
    const auto timescale = _timescales.find(number);
    if (timescale == _timescales.end() || timescale->second == 0) return;
    forEachBox(track, typeOf("tfdt"), [&](Bytes content) {
      Reader reader(content);
      const std::size_t size = versionOf(reader) == 1 ? 8 : 4;
      time = static_cast<double>(reader.number(size)) / timescale->second;
    });
  });
  if (!time) return;
  if (!_firstTime) _firstTime = time;
  for (Waiting& each : std::exchange(_waiting, {}))
    _found(each.seconds + (each.isAbsolute ? 0 : *time) - *_firstTime, std::move(each.event));
}

}  // namespace box
