#include "receivers/upnp/model/Time.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace upnp {

namespace {

// 10000 hours. Longer times are not valid targets, and would overflow in other programs.
constexpr double kMaximumSeconds = 36e6;

std::optional<unsigned> wholeNumber(std::string_view text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// The digits after the point, or a quotient below 1.
std::optional<double> fraction(std::string_view text) {
  const auto slash = text.find('/');
  if (slash != std::string_view::npos) {
    const auto above = wholeNumber(text.substr(0, slash));
    const auto below = wholeNumber(text.substr(slash + 1));
    if (!above || !below || *above >= *below) return std::nullopt;
    return static_cast<double>(*above) / *below;
  }
  const std::string_view digits = text.substr(0, 9);
  const auto number = wholeNumber(digits);
  const bool isNumber = text.find_first_not_of("0123456789") == std::string_view::npos;
  if (!number || !isNumber) return std::nullopt;
  return *number / std::pow(10.0, static_cast<double>(digits.size()));
}

}  // namespace

std::string formatTime(double seconds) {
  if (!(seconds > 0)) seconds = 0;
  const auto whole = static_cast<unsigned long>(std::min(seconds, kMaximumSeconds));
  char text[32];
  std::snprintf(text, sizeof text, "%lu:%02lu:%02lu", whole / 3600, whole / 60 % 60, whole % 60);
  return text;
}

std::optional<double> parseTime(std::string_view text) {
  double rest = 0;
  if (const auto point = text.find('.'); point != std::string_view::npos) {
    const auto parsed = fraction(text.substr(point + 1));
    if (!parsed) return std::nullopt;
    rest = *parsed;
    text = text.substr(0, point);
  }
  const auto second = text.rfind(':');
  const auto first = text.find(':');
  if (first == std::string_view::npos || first == second) return std::nullopt;
  const auto hours = wholeNumber(text.substr(0, first));
  const auto minutes = wholeNumber(text.substr(first + 1, second - first - 1));
  const auto seconds = wholeNumber(text.substr(second + 1));
  if (!hours || !minutes || !seconds || *minutes > 59 || *seconds > 59) return std::nullopt;
  const double total = *hours * 3600.0 + *minutes * 60.0 + *seconds + rest;
  return total <= kMaximumSeconds ? std::optional(total) : std::nullopt;
}

}  // namespace upnp
