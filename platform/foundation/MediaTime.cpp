#include "platform/foundation/MediaTime.h"

#include <cmath>
#include <limits>

#include "platform/foundation/Value.h"

namespace platform {

namespace {

constexpr std::uint32_t kNotNumericFlags =
    MediaTime::PositiveInfinity | MediaTime::NegativeInfinity | MediaTime::Indefinite;

}  // namespace

MediaTime MediaTime::seconds(double seconds, std::int32_t timescale) {
  if (std::isnan(seconds) || timescale <= 0) return {};
  const double exact = seconds * timescale;
  const double rounded = std::round(exact);
  // 2^63, the first double outside the range of int64.
  constexpr double kLimit = 9223372036854775808.0;
  if (rounded >= kLimit) return positiveInfinity();
  if (rounded < -kLimit) return {0, 0, Valid | NegativeInfinity, 0};
  const std::uint32_t flags = rounded == exact ? Valid : Valid | Rounded;
  return {static_cast<std::int64_t>(rounded), timescale, flags, 0};
}

bool MediaTime::isNumeric() const { return isValid() && (flags & kNotNumericFlags) == 0; }

double MediaTime::toSeconds() const {
  if (isValid() && (flags & PositiveInfinity) != 0) return std::numeric_limits<double>::infinity();
  if (isValid() && (flags & NegativeInfinity) != 0) return -std::numeric_limits<double>::infinity();
  if (!isNumeric() || timescale <= 0) return std::numeric_limits<double>::quiet_NaN();
  return static_cast<double>(value) / timescale;
}

std::optional<Dictionary> MediaTime::toDictionary() const {
  if (!isValid()) return std::nullopt;
  return Dictionary{{std::string(kMediaTimeValueKey), value},
                    {std::string(kMediaTimeTimescaleKey), timescale},
                    {std::string(kMediaTimeFlagsKey), flags},
                    {std::string(kMediaTimeEpochKey), epoch}};
}

MediaTime MediaTime::fromDictionary(const Dictionary& dictionary) {
  const auto value = dictionary.number(kMediaTimeValueKey);
  const auto timescale = dictionary.number(kMediaTimeTimescaleKey);
  const auto flags = dictionary.number(kMediaTimeFlagsKey);
  const auto epoch = dictionary.number(kMediaTimeEpochKey);
  if (!value || !timescale || !flags || !epoch) return {};
  const MediaTime time{value->int64Value(), timescale->int32Value(), flags->uint32Value(),
                       epoch->int64Value()};
  // A number that was clamped or truncated would silently become a different time.
  if (Number(time.value) != *value || Number(time.timescale) != *timescale ||
      Number(time.flags) != *flags || Number(time.epoch) != *epoch) {
    return {};
  }
  if (time.isNumeric() && time.timescale <= 0) return {};
  return time;
}

}  // namespace platform
