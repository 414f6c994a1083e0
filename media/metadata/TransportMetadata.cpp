#include "media/metadata/TransportMetadata.h"

#include <algorithm>
#include <array>
#include <utility>

namespace media {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kPacketSize = 188;
constexpr std::uint8_t kSync = 0x47;
constexpr std::uint8_t kMetadataType = 0x15;
/// DTS, TrueHD, DTS-HD, DTS-HD Master Audio.
constexpr std::array<std::uint8_t, 4> kSkippedTypes{0x82, 0x83, 0x85, 0x86};
/// The descriptor that begins those of a program of a disc.
constexpr std::array<std::uint8_t, 6> kDiscDescriptor{5, 4, 'H', 'D', 'M', 'V'};
constexpr std::size_t kUnitLimit = std::size_t{64} * 1024;
constexpr std::int64_t kTimeBits = 33;

std::uint16_t pidAt(Bytes bytes, std::size_t at) {
  return static_cast<std::uint16_t>((bytes[at] & 0x1f) << 8 | bytes[at + 1]);
}

/// Returns the PTS in a PES header.
std::optional<std::uint64_t> timeOf(Bytes pes) {
  if (pes.size() < 14 || pes[0] != 0 || pes[1] != 0 || pes[2] != 1 || (pes[7] & 0x80) == 0)
    return std::nullopt;
  return static_cast<std::uint64_t>(pes[9] >> 1 & 7) << 30 |
         static_cast<std::uint64_t>(pes[10]) << 22 |
         static_cast<std::uint64_t>(pes[11] >> 1) << 15 | static_cast<std::uint64_t>(pes[12]) << 7 |
         static_cast<std::uint64_t>(pes[13] >> 1);
}

/// Returns the difference of two time stamps, which may have wrapped around between.
double secondsBetween(std::uint64_t from, std::uint64_t to) {
  constexpr std::int64_t kPeriod = std::int64_t{1} << kTimeBits;
  std::int64_t ticks = (static_cast<std::int64_t>(to) - static_cast<std::int64_t>(from)) % kPeriod;
  if (ticks > kPeriod / 2) ticks -= kPeriod;
  if (ticks < -kPeriod / 2) ticks += kPeriod;
  return static_cast<double>(ticks) / 90000;
}

}  // namespace

void TransportMetadata::restart() {
  _partialPacket.clear();
  _unit = {};
}

void TransportMetadata::feed(Bytes bytes) {
  while (!bytes.empty()) {
    if (_partialPacket.empty() && bytes[0] != kSync) {
      const auto sync = std::find(bytes.begin(), bytes.end(), kSync);
      bytes = bytes.subspan(static_cast<std::size_t>(sync - bytes.begin()));
    } else if (_partialPacket.empty() && bytes.size() >= kPacketSize) {
      _takePacket(bytes.first(kPacketSize));
      bytes = bytes.subspan(kPacketSize);
    } else {
      const std::size_t part = std::min(kPacketSize - _partialPacket.size(), bytes.size());
      _partialPacket.insert(_partialPacket.end(), bytes.begin(),
                            bytes.begin() + static_cast<std::ptrdiff_t>(part));
      bytes = bytes.subspan(part);
      if (_partialPacket.size() < kPacketSize) return;
      _takePacket(_partialPacket);
      _partialPacket.clear();
    }
  }
}

void TransportMetadata::_takePacket(Bytes packet) {
  const bool begins = (packet[1] & 0x40) != 0;
  const std::uint16_t pid = pidAt(packet, 1);
  const bool hasFields = (packet[3] & 0x20) != 0;
  const std::size_t skipped = 4 + (hasFields ? 1u + packet[4] : 0u);
  if ((packet[3] & 0x10) == 0 || skipped >= packet.size()) return;
  const Bytes payload = packet.subspan(skipped);
  if (begins && (pid == 0 || pid == _programPID))
    _takeTable(payload, pid != 0);
  else if (pid == _metadataPID)
    _takeData(payload, begins);
  else if (begins && !_firstTime && _timedPIDs.contains(pid))
    _takeTime(payload);
}

void TransportMetadata::_takeTable(Bytes payload, bool isProgram) {
  // Tables that span several packets are not supported; they have many programs or streams.
  const std::size_t begin = 1u + payload[0];
  if (begin + 12 > payload.size()) return;
  Bytes table = payload.subspan(begin);
  const std::size_t size = (table[1] & 0x0fu) << 8 | table[2];
  if (size < 9) return;
  table = table.first(std::min(size + 3 - 4, table.size()));  // without the CRC
  if (!isProgram) {
    for (std::size_t at = 8; at + 4 <= table.size(); at += 4)
      if (table[at] != 0 || table[at + 1] != 0) {
        _programPID = pidAt(table, at + 2);
        return;
      }
    return;
  }
  if (table.size() >= 12) _takeStreams(table);
}

void TransportMetadata::_takeStreams(Bytes table) {
  const std::size_t descriptors = (table[10] & 0x0fu) << 8 | table[11];
  std::size_t at = 12 + descriptors;
  // Other descriptors may give the types another meaning.
  const Bytes first = table.subspan(12, std::min(descriptors, table.size() - 12));
  const bool mayHaveSkipped =
      first.empty() || (first.size() >= kDiscDescriptor.size() &&
                        std::equal(kDiscDescriptor.begin(), kDiscDescriptor.end(), first.begin()));
  for (; at + 5 <= table.size(); at += 5 + ((table[at + 3] & 0x0fu) << 8 | table[at + 4])) {
    const bool isSkipped =
        std::find(kSkippedTypes.begin(), kSkippedTypes.end(), table[at]) != kSkippedTypes.end();
    if (mayHaveSkipped && isSkipped && _foundAudio) std::exchange(_foundAudio, {})();
    if (table[at] == kMetadataType)
      _metadataPID = pidAt(table, at + 1);
    else
      _timedPIDs.insert(pidAt(table, at + 1));
  }
}

void TransportMetadata::_takeTime(Bytes payload) { _firstTime = timeOf(payload); }

void TransportMetadata::_takeData(Bytes payload, bool begins) {
  if (begins) {
    _emitUnit();
    _unit.begun = true;
  }
  if (!_unit.begun || _unit.bytes.size() + payload.size() > kUnitLimit) {
    _unit = {};
    return;
  }
  _unit.bytes.insert(_unit.bytes.end(), payload.begin(), payload.end());
  const std::vector<std::uint8_t>& bytes = _unit.bytes;
  if (bytes.size() < 6) return;
  const auto length = static_cast<std::size_t>(bytes[4] << 8 | bytes[5]);
  if (length > 0 && bytes.size() >= 6 + length) _emitUnit();
}

void TransportMetadata::_emitUnit() {
  const Unit unit = std::exchange(_unit, {});
  const Bytes bytes(unit.bytes);
  const auto time = timeOf(bytes);
  if (!time || !_firstTime) return;
  const std::size_t begin = 9u + bytes[8];
  if (begin < bytes.size()) _found(secondsBetween(*_firstTime, *time), bytes.subspan(begin));
}

}  // namespace media
