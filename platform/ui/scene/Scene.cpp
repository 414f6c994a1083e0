#include "platform/ui/scene/Scene.h"

#include <cmath>
#include <cstdio>

namespace platform {

float AnimatedAlpha::at(TimePoint now) const {
  if (duration <= Duration::zero() || now >= start + duration) return to;
  if (now <= start) return from;
  const double t = secondsFromDuration(now - start) / secondsFromDuration(duration);
  const double eased = t * t * (3 - 2 * t);
  return static_cast<float>(from + (static_cast<double>(to) - from) * eased);
}

std::string clockText(double seconds) {
  // No real position is longer than a century. NaN also fails the comparison.
  constexpr double kLongest = 100.0 * 365 * 24 * 3600;
  if (!(seconds >= 0 && seconds <= kLongest)) return "--:--";
  const auto whole = static_cast<long long>(std::floor(seconds));
  const long long hours = whole / 3600;
  const long long minutes = whole / 60 % 60;
  char text[32];
  if (hours > 0) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", hours, minutes, whole % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", minutes, whole % 60);
  }
  return text;
}

}  // namespace platform
