#include "media/durations/SystemStreams.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <string_view>

namespace media {
namespace {

using SystemBytes = std::span<const std::uint8_t>;

constexpr SystemTime kWrap = SystemTime{1} << 33;
constexpr std::uint8_t kSyncByte = 0x47;
constexpr std::size_t kPacketBytes = 188;
constexpr std::size_t kPayloadAt = 4;
constexpr std::string_view kPackStart("\0\0\1\xba", 4);

bool isMediaStream(unsigned streamID) {
  // Video, audio, private streams (AC-3, DTS), extended IDs (VC-1).
  return streamID == 0xbd || streamID == 0xfd || (streamID >= 0xc0 && streamID <= 0xef);
}

/// Reads the 33 bits of a time stamp of five bytes.
SystemTime stampOf(SystemBytes at) {
  return (SystemTime{at[0]} >> 1 & 7) << 30 | SystemTime{at[1]} << 22 |
         (SystemTime{at[2]} >> 1) << 15 | SystemTime{at[3]} << 7 | SystemTime{at[4]} >> 1;
}

/// `pes` begins with the start code. Its PTS, if it has one.
std::optional<SystemTime> presentationTime(SystemBytes pes) {
  constexpr std::size_t kFlagsAt = 7;
  constexpr std::size_t kStampAt = 9;
  constexpr std::size_t kStampSize = 5;
  if (pes.size() < kStampAt + kStampSize) return std::nullopt;
  if ((pes[6] & 0xc0) == 0x80) {
    if ((pes[kFlagsAt] & 0x80) == 0) return std::nullopt;
    return stampOf(pes.subspan(kStampAt));
  }
  // MPEG-1: stuffing, and the size of a buffer.
  std::size_t at = 6;
  while (at < pes.size() && pes[at] == 0xff) ++at;
  if (at < pes.size() && (pes[at] & 0xc0) == 0x40) at += 2;
  if (at + kStampSize > pes.size() || (pes[at] & 0xe0) != 0x20) return std::nullopt;
  return stampOf(pes.subspan(at));
}

/// `size` is that of the packet; 0: unknown, as usual for video.
void addStamp(SystemTimes& times, unsigned id, SystemTime stamp, std::int64_t size) {
  const auto [entry, isNew] = times.streams.try_emplace(id);
  SystemTimes::Stream& stream = entry->second;
  if (isNew) stream.first = stream.last = stamp;
  const std::int64_t step = systemTimeBetween(stream.last, stamp);
  // Of B pictures, the difference to the newest picture counts.
  if (step != 0 && (stream.step == 0 || std::abs(step) < stream.step)) {
    stream.step = std::abs(step);
    stream.stepSize = stream.lastSize;
  }
  if (step >= 0) {
    stream.last = stamp;
    stream.lastSize = size;
  }
  if (systemTimeBetween(stamp, stream.first) > 0) stream.first = stamp;
}

std::int64_t sizeOfPES(SystemBytes pes) { return pes[4] << 8 | pes[5]; }

bool startsPES(SystemBytes bytes) {
  return bytes.size() > 3 && bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 1 &&
         isMediaStream(bytes[3]);
}

}  // namespace

std::int64_t systemTimeBetween(SystemTime earlier, SystemTime later) {
  const SystemTime difference = (later - earlier) & (kWrap - 1);
  return difference < kWrap / 2
             ? static_cast<std::int64_t>(difference)
             : static_cast<std::int64_t>(difference) - static_cast<std::int64_t>(kWrap);
}

std::size_t transportPacketSize(SystemBytes bytes) {
  // With a time code before, or a checksum after each packet.
  constexpr std::array<std::size_t, 3> kSizes{188, 192, 204};
  constexpr std::size_t kProof = 5;
  for (const std::size_t size : kSizes)
    for (std::size_t start = 0; start < size && start + kProof * size < bytes.size(); ++start) {
      std::size_t count = 0;
      while (count < kProof && bytes[start + count * size] == kSyncByte) ++count;
      if (count == kProof) return size;
    }
  return 0;
}

bool isProgramStream(SystemBytes bytes) {
  return bytes.size() > kPackStart.size() &&
         std::equal(kPackStart.begin(), kPackStart.end(), bytes.begin(),
                    [](char left, std::uint8_t right) {
                      return static_cast<std::uint8_t>(left) == right;
                    });
}

SystemTimes timesOfTransportStream(SystemBytes bytes, std::size_t packetSize) {
  SystemTimes times;
  std::optional<unsigned> clockPID;
  std::size_t at = 0;
  while (at + kPacketBytes <= bytes.size()) {
    const bool isAligned = bytes[at] == kSyncByte &&
                           (at + packetSize >= bytes.size() || bytes[at + packetSize] == kSyncByte);
    if (!isAligned) {
      ++at;
      continue;
    }
    const SystemBytes packet = bytes.subspan(at, kPacketBytes);
    at += packetSize;
    const unsigned pid = (packet[1] & 0x1fu) << 8 | packet[2];
    std::size_t payload = kPayloadAt;
    if ((packet[3] & 0x20) != 0) {
      const std::size_t length = packet[kPayloadAt];
      if (length >= 7 && (packet[kPayloadAt + 1] & 0x10) != 0) {
        const SystemBytes field = packet.subspan(kPayloadAt + 2);
        const SystemTime clock = SystemTime{field[0]} << 25 | SystemTime{field[1]} << 17 |
                                 SystemTime{field[2]} << 9 | SystemTime{field[3]} << 1 |
                                 field[4] >> 7;
        if (!times.clock) times.clock = clock;
        times.clocks.push_back({at - packetSize, clock});
        if (clockPID.value_or(pid) != pid) times.hasOneClock = false;
        clockPID = pid;
      }
      payload += 1 + length;
    }
    const bool startsUnit = (packet[1] & 0x40) != 0 && (packet[3] & 0x10) != 0;
    if (!startsUnit || payload >= kPacketBytes || !startsPES(packet.subspan(payload))) continue;
    if (const auto stamp = presentationTime(packet.subspan(payload)))
      addStamp(times, pid, *stamp, sizeOfPES(packet.subspan(payload)));
  }
  return times;
}

SystemTimes timesOfProgramStream(SystemBytes bytes) {
  SystemTimes times;
  std::size_t at = 0;
  while (at + 14 <= bytes.size()) {
    const SystemBytes rest = bytes.subspan(at);
    if (rest[0] != 0 || rest[1] != 0 || rest[2] != 1 || rest[3] < 0xb9) {
      ++at;
      continue;
    }
    if (rest[3] == 0xba) {
      const bool isMPEG2 = (rest[4] & 0xc0) == 0x40;
      // MPEG-2 has marker bits at other places, and an extension of the clock.
      const SystemTime clock =
          isMPEG2 ? (SystemTime{rest[4]} >> 3 & 7) << 30 | (SystemTime{rest[4]} & 3) << 28 |
                        SystemTime{rest[5]} << 20 | (SystemTime{rest[6]} >> 3) << 15 |
                        (SystemTime{rest[6]} & 3) << 13 | SystemTime{rest[7]} << 5 | rest[8] >> 3
                  : stampOf(rest.subspan(4));
      if (!times.clock) times.clock = clock;
      times.clocks.push_back({at, clock});
      at += isMPEG2 ? 14 : 12;
      continue;
    }
    const std::size_t length = std::size_t{rest[4]} << 8 | rest[5];
    if (isMediaStream(rest[3]))
      if (const auto stamp = presentationTime(rest))
        addStamp(times, rest[3], *stamp, static_cast<std::int64_t>(length));
    at += rest[3] == 0xb9 ? 4 : 6 + length;
  }
  return times;
}

}  // namespace media
