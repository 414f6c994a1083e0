#include "media/texts/SubtitlePackets.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace media {
namespace {

namespace dvb {
constexpr unsigned kSync = 0x0F;
constexpr std::size_t kHeaderSize = 6;
constexpr unsigned kPage = 0x10;
constexpr unsigned kRegion = 0x11;
constexpr unsigned kCanvas = 0x14;
constexpr unsigned kEnd = 0x80;
constexpr std::string_view kEndSegment("\x0F\x80\0\0\0\0", 6);
/// Precedes the segments in a transport stream: data identifier and stream id.
constexpr std::string_view kPrefix("\x20\0", 2);
}  // namespace dvb

namespace pgs {
constexpr std::size_t kHeaderSize = 3;
constexpr unsigned kObject = 0x15;
constexpr unsigned kComposition = 0x16;
constexpr unsigned kEnd = 0x80;
}  // namespace pgs

/// Reads a big-endian number. Bytes beyond the end count as zero.
unsigned numberAt(std::string_view bytes, std::size_t at, std::size_t count) {
  unsigned value = 0;
  for (std::size_t index = at; index < at + count; ++index)
    value = value << 8 | (index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0U);
  return value;
}

/// Returns whether the decoder draws a limited number of times, and does not wait for more bytes.
bool isUsableDVD(std::string_view packet) {
  const std::size_t size = numberAt(packet, 0, 2);
  if (size == 0 || size > packet.size()) return false;
  std::size_t at = numberAt(packet, 2, 2);
  for (int count = 0; count < SubtitlePackets::kControlSequenceLimit; ++count) {
    const std::size_t next = numberAt(packet, at + 2, 2);
    if (next <= at || next >= packet.size()) return true;  // the last one refers to itself
    at = next;
  }
  return false;
}

}  // namespace

std::vector<SubtitlePackets::Part> SubtitlePackets::split(std::string_view packet) {
  switch (_format) {
    case ImageSubtitleFormat::DVB:
      return _splitDVB(packet);
    case ImageSubtitleFormat::PGS:
      return _splitPGS(packet);
    case ImageSubtitleFormat::DVD:
      break;
  }
  std::vector<Part> parts;
  if (isUsableDVD(packet)) parts.push_back({std::string(packet)});
  return parts;
}

void SubtitlePackets::reset() {
  _regionPixels = {};
  _objectBytes.clear();
  _isComposing = false;
}

std::vector<SubtitlePackets::Part> SubtitlePackets::_splitDVB(std::string_view packet) {
  std::vector<Part> parts;
  if (packet.starts_with(dvb::kPrefix)) packet.remove_prefix(dvb::kPrefix.size());
  Part part;
  bool hasPage = false;
  while (parts.size() < kPartLimit && packet.size() >= dvb::kHeaderSize &&
         numberAt(packet, 0, 1) == dvb::kSync) {
    const unsigned type = numberAt(packet, 1, 1);
    const std::string_view segment = packet.substr(0, dvb::kHeaderSize + numberAt(packet, 4, 2));
    if (segment.size() < dvb::kHeaderSize + numberAt(packet, 4, 2)) break;
    packet.remove_prefix(segment.size());
    if (type == dvb::kPage) {
      // An acquisition point or a mode change: all regions and objects follow.
      const bool isNew = (numberAt(segment, dvb::kHeaderSize + 1, 1) & 0x0C) != 0;
      if (isNew && hasPage) {
        // The decoder keeps the regions of a page until its state is discarded.
        part.bytes += dvb::kEndSegment;
        parts.push_back(std::exchange(part, {}));
      }
      hasPage = true;
      if (isNew) {
        reset();
        part.startsAnew = true;
      }
    }
    part.hasCanvas = part.hasCanvas || type == dvb::kCanvas;
    if (type == dvb::kRegion && !_acceptsRegion(segment.substr(dvb::kHeaderSize))) continue;
    part.bytes += segment;
    if (type != dvb::kEnd) continue;
    parts.push_back(std::exchange(part, {}));
    hasPage = false;
  }
  // Some streams have no end segment.
  if (hasPage) part.bytes += dvb::kEndSegment;
  if (!part.bytes.empty()) parts.push_back(std::move(part));
  return parts;
}

bool SubtitlePackets::_acceptsRegion(std::string_view segment) {
  constexpr std::size_t kFixedSize = 10;
  constexpr std::size_t kObjectSize = 8;
  if (segment.size() > kFixedSize + kRegionObjectLimit * kObjectSize) return false;
  std::size_t& pixels = _regionPixels[numberAt(segment, 0, 1)];
  const std::size_t wanted =
      std::size_t{numberAt(segment, 2, 2)} * std::size_t{numberAt(segment, 4, 2)};
  const std::size_t others =
      std::accumulate(_regionPixels.begin(), _regionPixels.end(), std::size_t{0}) - pixels;
  if (others + wanted > kRegionPixelLimit) return false;
  pixels = wanted;
  return true;
}

std::vector<SubtitlePackets::Part> SubtitlePackets::_splitPGS(std::string_view packet) {
  std::vector<Part> parts;
  Part part;
  while (parts.size() < kPartLimit && packet.size() >= pgs::kHeaderSize) {
    const unsigned type = numberAt(packet, 0, 1);
    const std::string_view segment = packet.substr(0, pgs::kHeaderSize + numberAt(packet, 1, 2));
    if (segment.size() < pgs::kHeaderSize + numberAt(packet, 1, 2)) break;
    packet.remove_prefix(segment.size());
    if (type == pgs::kComposition) {
      // Any other state than "normal": all palettes and objects follow.
      if (numberAt(segment, pgs::kHeaderSize + 7, 1) >> 6 != 0) {
        reset();
        part = {};
        part.startsAnew = true;
      }
      _isComposing = true;
    }
    if (type == pgs::kObject && !_acceptsObject(segment.substr(pgs::kHeaderSize))) continue;
    // The decoder would show the previous composition again.
    if (type == pgs::kEnd && !std::exchange(_isComposing, false)) continue;
    part.bytes += segment;
    if (type == pgs::kEnd) parts.push_back(std::exchange(part, {}));
  }
  if (!part.bytes.empty()) parts.push_back(std::move(part));
  return parts;
}

bool SubtitlePackets::_acceptsObject(std::string_view segment) {
  if ((numberAt(segment, 3, 1) & 0x80) == 0) return true;  // continues an object
  const unsigned identifier = numberAt(segment, 0, 2);
  const auto known = _objectBytes.find(identifier);
  if (known == _objectBytes.end() && _objectBytes.size() >= kObjectLimit) return false;
  // The decoder allocates the announced size at once, and never frees it within an epoch.
  const std::size_t had = known == _objectBytes.end() ? 0 : known->second;
  const std::size_t wanted = std::max<std::size_t>(had, numberAt(segment, 4, 3));
  std::size_t others = 0;
  for (const auto& [unused, bytes] : _objectBytes) others += bytes;
  if (others - had + wanted > kObjectByteLimit) return false;
  _objectBytes[identifier] = wanted;
  return true;
}

}  // namespace media
