#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

#include "platform/foundation/Clock.h"

namespace box {

/// How fast an answer goes to the engine while it is young: a piece at once, then so many bytes a
/// millisecond, and after a tenth of a second as fast as it comes.
///
/// From a server nearby a whole film may come within that time, and what is far ahead of need takes
/// the processor from those who make the first picture of what is there.
class EarlyPace {
 public:
  static constexpr std::size_t kFirstBytes = std::size_t{256} * 1024;
  static constexpr std::size_t kBytesPerMillisecond = std::size_t{16} * 1024;
  static constexpr auto kEarly = std::chrono::milliseconds(100);

  /// `size` more have been passed on; how long the next ones wait, zero: not at all.
  std::chrono::milliseconds pass(std::size_t size, platform::TimePoint now);

 private:
  std::size_t _passed = 0;
  std::optional<platform::TimePoint> _begunAt;
};

}  // namespace box
