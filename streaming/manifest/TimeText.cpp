#include "streaming/manifest/TimeText.h"

#include <charconv>
#include <chrono>
#include <cmath>

namespace streaming {
namespace {

std::optional<int> takeDigits(std::string_view& text, std::size_t count) {
  if (text.size() < count) return {};
  int value = 0;
  const char* const end = text.data() + count;
  const auto parsed = std::from_chars(text.data(), end, value);
  if (parsed.ec != std::errc{} || parsed.ptr != end || value < 0) return {};
  text.remove_prefix(count);
  return value;
}

bool takeOneOf(std::string_view& text, std::string_view characters) {
  if (text.empty() || characters.find(text.front()) == characters.npos) return false;
  text.remove_prefix(1);
  return true;
}

std::optional<double> takeNumber(std::string_view& text) {
  const std::string_view digits = text.substr(0, text.find_first_not_of("0123456789."));
  const auto value = numberFrom(digits);
  text.remove_prefix(digits.size());
  return value;
}

/// The offset from UTC in seconds.
std::optional<double> takeZone(std::string_view& text) {
  if (text.empty() || takeOneOf(text, "Zz")) return 0;
  const double sign = text.front() == '-' ? -1 : 1;
  if (!takeOneOf(text, "+-")) return {};
  const auto hours = takeDigits(text, 2);
  takeOneOf(text, ":");
  const auto minutes = text.empty() ? 0 : takeDigits(text, 2);
  if (!hours || !minutes) return {};
  return sign * (*hours * 3600 + *minutes * 60);
}

}  // namespace

std::optional<double> numberFrom(std::string_view text) {
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, value, std::chars_format::fixed);
  if (parsed.ec != std::errc{} || parsed.ptr != end || !std::isfinite(value)) return {};
  return value;
}

std::optional<platform::Date> dateFrom(std::string_view text) {
  const auto year = takeDigits(text, 4);
  if (!year || !takeOneOf(text, "-")) return {};
  const auto month = takeDigits(text, 2);
  if (!month || !takeOneOf(text, "-")) return {};
  const auto day = takeDigits(text, 2);
  if (!day || !takeOneOf(text, "Tt ")) return {};
  const auto hour = takeDigits(text, 2);
  if (!hour || !takeOneOf(text, ":")) return {};
  const auto minute = takeDigits(text, 2);
  if (!minute || !takeOneOf(text, ":")) return {};
  const auto second = takeNumber(text);
  if (!second) return {};
  const auto zone = takeZone(text);
  if (!zone || !text.empty()) return {};

  const std::chrono::year_month_day date{std::chrono::year(*year),
                                         std::chrono::month(static_cast<unsigned>(*month)),
                                         std::chrono::day(static_cast<unsigned>(*day))};
  if (!date.ok() || *hour > 24 || *minute > 59 || *second > 61) return {};
  const auto days = static_cast<double>(std::chrono::sys_days(date).time_since_epoch().count());
  return platform::Date{days * 86400 + *hour * 3600 + *minute * 60 + *second - *zone};
}

std::optional<double> durationFrom(std::string_view text) {
  const double sign = text.starts_with('-') ? -1 : 1;
  takeOneOf(text, "+-");
  if (!takeOneOf(text, "P")) return {};
  constexpr double day = 86400;
  bool inTime = false;
  double seconds = 0;
  while (!text.empty()) {
    if (!inTime && takeOneOf(text, "T")) {
      inTime = true;
      continue;
    }
    const auto value = takeNumber(text);
    if (!value) return {};
    if (inTime && takeOneOf(text, "H"))
      seconds += *value * 3600;
    else if (inTime && takeOneOf(text, "M"))
      seconds += *value * 60;
    else if (inTime && takeOneOf(text, "S"))
      seconds += *value;
    else if (!inTime && takeOneOf(text, "D"))
      seconds += *value * day;
    else if (!inTime && takeOneOf(text, "W"))
      seconds += *value * day * 7;
    else if (!inTime && takeOneOf(text, "M"))
      seconds += *value * day * 365.2425 / 12;
    else if (!inTime && takeOneOf(text, "Y"))
      seconds += *value * day * 365.2425;
    else
      return {};
  }
  return sign * seconds;
}

}  // namespace streaming
