#pragma once

#include <compare>
#include <string>

namespace platform {

/// A point in civil time: seconds since 1970-01-01 00:00:00 UTC without leap seconds.
struct Date {
  double secondsSince1970 = 0;

  friend auto operator<=>(const Date&, const Date&) = default;

  /// `2026-11-24 21:12:20 +0000`. A date outside the range of std::chrono::year prints as its
  /// number of seconds.
  std::string description() const;
};

}  // namespace platform
