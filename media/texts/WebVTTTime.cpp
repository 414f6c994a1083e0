#include "media/texts/WebVTTTime.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace media {
namespace {

/// Returns -1 if there are not exactly `count` digits.
int takeExactDigits(std::string_view& text, std::size_t count) {
  const std::string_view digits = takeDigits(text);
  if (digits.size() != count) return -1;
  int value = 0;
  for (const char each : digits) value = value * 10 + (each - '0');
  return value;
}

}  // namespace

std::string_view takeDigits(std::string_view& text) {
  const auto end = std::find_if_not(text.begin(), text.end(),
                                    [](char each) { return each >= '0' && each <= '9'; });
  const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  text.remove_prefix(digits.size());
  return digits;
}

bool takeCharacter(std::string_view& text, char character) {
  if (!text.starts_with(character)) return false;
  text.remove_prefix(1);
  return true;
}

/// Reads "minutes:seconds.thousandths", with hours of any length before it.
std::optional<double> takeVTTTime(std::string_view& text) {
  const std::string_view first = takeDigits(text);
  if (first.empty() || first.size() > 9 || !takeCharacter(text, ':')) return std::nullopt;
  double hours = 0;
  double minutes = 0;
  for (const char each : first) minutes = minutes * 10 + (each - '0');
  int seconds = takeExactDigits(text, 2);
  if (first.size() != 2 || minutes > 59 || text.starts_with(':')) {
    if (!takeCharacter(text, ':')) return std::nullopt;
    hours = std::exchange(minutes, seconds);
    seconds = takeExactDigits(text, 2);
  }
  if (minutes < 0 || minutes > 59 || seconds < 0 || seconds > 59 || !takeCharacter(text, '.'))
    return std::nullopt;
  const int thousandths = takeExactDigits(text, 3);
  if (thousandths < 0) return std::nullopt;
  return hours * 3600 + minutes * 60 + seconds + thousandths / 1000.0;
}

}  // namespace media
