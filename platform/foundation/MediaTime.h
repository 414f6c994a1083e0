#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace platform {

class Dictionary;

inline constexpr std::string_view kMediaTimeValueKey = "value";
inline constexpr std::string_view kMediaTimeTimescaleKey = "timescale";
inline constexpr std::string_view kMediaTimeFlagsKey = "flags";
inline constexpr std::string_view kMediaTimeEpochKey = "epoch";

/// A rational time: value / timescale seconds. A default-constructed time is invalid.
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
  /// NaN for invalid and indefinite times; infinite for infinite times.
  double toSeconds() const;

  /// The dictionary form with four keys; std::nullopt for an invalid time.
  std::optional<Dictionary> toDictionary() const;
  /// Returns an invalid time if a key is missing, a value is not a number or does not fit its
  /// field, or the time is numeric and its timescale is not positive.
  static MediaTime fromDictionary(const Dictionary& dictionary);

  friend bool operator==(const MediaTime&, const MediaTime&) = default;
};

}  // namespace platform
