#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "media/durations/SystemStreams.h"

namespace media {

/// Returns the time stamps in `count` bytes from `offset`, or none after an error.
using ReadSystemTimes = std::function<SystemTimes(std::uint64_t offset, std::size_t count)>;

/// Where recordings were joined, each with a clock of its own. In units of the clock.
struct ClockJumps {
  /// What the time stamps gain or lose there. Subtract it from the difference of the last and the
  /// first time.
  std::int64_t total = 0;
  /// The time from the start to the first place where the clock is set back.
  std::optional<std::int64_t> firstBack;
};

/// Returns nullopt if the bit rate of a transport or program stream varies too much to find them.
///
/// Reads the clock at some places. Where it does not fit to the bit rate, it reads more.
std::optional<ClockJumps> findClockJumps(const ReadSystemTimes& read, std::uint64_t size);

}  // namespace media
