#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "tools/vorlanectl/Json.h"

namespace vorlanectl {

namespace {

CodingError badDate(const std::string& text) {
  // NOLINTNEXTLINE(modernize-return-braced-init-list): it is explicit
  return CodingError("\"" + text + "\" is no date such as 2026-11-24T21:12:20Z");
}

/// Returns the offset of "Z", "+hh:mm" or "-hh:mm" in seconds east of UTC.
double offsetOf(const std::string& zone, const std::string& text) {
  if (zone == "Z" || zone == "z") return 0;
  int hours = 0;
  int minutes = 0;
  int end = 0;
  const char sign = zone.empty() ? 0 : zone[0];
  if ((sign != '+' && sign != '-') ||
      std::sscanf(zone.c_str() + 1, "%2d:%2d%n", &hours, &minutes, &end) != 2 ||
      zone.size() != static_cast<std::size_t>(end) + 1) {
    throw badDate(text);
  }
  return (sign == '-' ? -1 : 1) * (hours * 3600.0 + minutes * 60.0);
}

}  // namespace

double parseDate(const std::string& text) {
  std::tm time{};
  char separator = 0;
  int end = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c%2d:%2d:%2d%n", &time.tm_year, &time.tm_mon,
                  &time.tm_mday, &separator, &time.tm_hour, &time.tm_min, &time.tm_sec,
                  &end) != 7 ||
      (separator != 'T' && separator != 't' && separator != ' ')) {
    throw badDate(text);
  }
  auto at = static_cast<std::size_t>(end);
  double fraction = 0;
  if (at < text.size() && text[at] == '.') {
    double unit = 0.1;
    for (++at; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at, unit /= 10) {
      fraction += unit * (text[at] - '0');
    }
  }
  const double offset = offsetOf(text.substr(at), text);
  time.tm_year -= 1900;
  time.tm_mon -= 1;
  if (time.tm_mon < 0 || time.tm_mon > 11 || time.tm_mday < 1 || time.tm_mday > 31 ||
      time.tm_hour < 0 || time.tm_hour > 23 || time.tm_min < 0 || time.tm_min > 59 ||
      time.tm_sec < 0 || time.tm_sec > 60) {
    throw badDate(text);
  }
  return static_cast<double>(timegm(&time)) + fraction - offset;
}

std::string formatDate(double seconds) {
  const double whole = std::floor(seconds);
  std::tm time{};
  // Years that std::tm cannot represent.
  if (!(std::abs(whole) < 2.5e11)) return std::to_string(seconds);
  const auto count = static_cast<std::time_t>(whole);
  gmtime_r(&count, &time);
  char text[64];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &time);
  std::string result(text, length);
  if (seconds != whole) {
    char fraction[16];
    // Drops the leading zero of "0.25". The limit avoids a carry into the seconds.
    std::snprintf(fraction, sizeof fraction, "%.6f", std::min(seconds - whole, 0.999999));
    result += fraction + 1;
  }
  return result + "Z";
}

}  // namespace vorlanectl
