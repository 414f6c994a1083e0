#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/foundation/Value.h"

namespace platform {

inline constexpr std::string_view kMediaTimeValueKey = "value";
inline constexpr std::string_view kMediaTimeTimescaleKey = "timescale";
inline constexpr std::string_view kMediaTimeFlagsKey = "flags";
inline constexpr std::string_view kMediaTimeEpochKey = "epoch";

/// A rational time: value / timescale seconds. The default one is invalid.
struct MediaTime {
  enum Flags : std::uint32_t {
    Valid = 1,
    Rounded = 2,
    PositiveInfinity = 4,
    NegativeInfinity = 8,
    Indefinite = 16,
  };

  std::int64_t value = 0;
  std::int32_t timescale = 0;
  std::uint32_t flags = 0;
  std::int64_t epoch = 0;

  static MediaTime zero() { return {0, 1, Valid, 0}; }
  static MediaTime seconds(double seconds, std::int32_t timescale = 1'000'000);
  static MediaTime positiveInfinity() { return {0, 0, Valid | PositiveInfinity, 0}; }
  static MediaTime indefinite() { return {0, 0, Valid | Indefinite, 0}; }

  bool isValid() const { return (flags & Valid) != 0; }
  bool isIndefinite() const { return isValid() && (flags & Indefinite) != 0; }
  /// Valid, and neither infinite nor indefinite.
  bool isNumeric() const;
  /// NaN unless numeric; infinite times are infinite.
  double toSeconds() const;

  /// The four-key dictionary form; nothing for an invalid time.
  std::optional<Dictionary> toDictionary() const;
  /// A dictionary that lacks a key, holds a value of another kind or a number that the field cannot
  /// hold, or claims to be valid with a timescale of 0 or less and no infinite or indefinite flag,
  /// reads as an invalid time.
  static MediaTime fromDictionary(const Dictionary& dictionary);

  friend bool operator==(const MediaTime&, const MediaTime&) = default;
};

}  // namespace platform
