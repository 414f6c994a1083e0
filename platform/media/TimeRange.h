#pragma once

/// An unknown duration, such as that of a live stream.
inline constexpr double TVSDurationIndefinite = -1;

namespace platform {

/// In seconds on the timeline of the item.
struct TimeRange {
  double start = 0;
  double duration = 0;
  friend bool operator==(const TimeRange&, const TimeRange&) = default;
};

}  // namespace platform
