#include "platform/foundation/Date.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "platform/foundation/Value.h"

namespace platform {

std::string Date::description() const {
  using namespace std::chrono;
  constexpr sys_days kFirst = year::min() / January / 1;
  constexpr sys_days kLast = year::max() / December / 31;
  constexpr double kSecondsPerDay = 86400;
  const double whole = std::floor(secondsSince1970);
  if (!(whole >= kFirst.time_since_epoch().count() * kSecondsPerDay &&
        whole < kLast.time_since_epoch().count() * kSecondsPerDay)) {
    return Number(secondsSince1970).description();
  }
  const sys_seconds time{seconds(static_cast<std::int64_t>(whole))};
  const sys_days day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d +0000",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

}  // namespace platform
