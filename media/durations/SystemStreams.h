#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

namespace media {

/// A time of the 90 kHz clock of MPEG systems, which wraps after 26.5 hours.
using SystemTime = std::uint64_t;
/// Returns `later` - `earlier`, across a wrap.
std::int64_t systemTimeBetween(SystemTime earlier, SystemTime later);

/// The time stamps in a part of a transport stream or a program stream.
struct SystemTimes {
  struct Stream {
    SystemTime first = 0;       // the smallest
    SystemTime last = 0;        // the largest
    std::int64_t step = 0;      // the smallest difference of two time stamps; 0: unknown
    std::int64_t stepSize = 0;  // bytes in that time; 0: unknown
    std::int64_t lastSize = 0;  // bytes from `last` on; 0: unknown
    /// The time from `last` to the end. The last packet of audio is often shorter than others. With
    /// a single time stamp, a 25th of a second.
    std::int64_t rest() const {
      if (step == 0) return 3600;
      return stepSize > 0 && lastSize < stepSize ? step * lastSize / stepSize : step;
    }
  };
  struct Clock {
    std::size_t offset = 0;  // in the bytes
    SystemTime time = 0;
  };
  std::optional<SystemTime> clock;     ///< the first clock reference
  std::vector<Clock> clocks;           ///< all clock references
  bool hasOneClock = true;             ///< all clock references are of one program
  std::map<unsigned, Stream> streams;  ///< video and audio, by PID or stream ID
};

/// Returns the distance of packets in a transport stream, or 0 for other data.
std::size_t transportPacketSize(std::span<const std::uint8_t> bytes);
bool isProgramStream(std::span<const std::uint8_t> bytes);

SystemTimes timesOfTransportStream(std::span<const std::uint8_t> bytes, std::size_t packetSize);
SystemTimes timesOfProgramStream(std::span<const std::uint8_t> bytes);

}  // namespace media
