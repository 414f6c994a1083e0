#include "media/texts/TTMLTime.h"

#include <array>
#include <cstddef>

#include "media/output/SubtitleColor.h"

namespace media {

bool TTMLClock::_set(double& rate, std::string_view text) {
  const auto number = takeNumber(text);
  if (!number || *number <= 0) return false;
  rate = *number;
  return true;
}

void TTMLClock::multiplyFrameRate(std::string_view text) {
  const auto numerator = takeNumber(text);
  if (text.starts_with(':')) text.remove_prefix(1);
  const auto denominator = takeNumber(text);
  if (numerator && denominator && *numerator > 0 && *denominator > 0)
    frameRate *= *numerator / *denominator;
}

std::optional<double> TTMLClock::secondsOf(std::string_view text) const {
  std::array<double, 4> parts{};
  std::size_t count = 0;
  while (count < parts.size()) {
    const auto number = takeNumber(text);
    if (!number || *number < 0) return std::nullopt;
    parts[count++] = *number;
    if (!text.starts_with(':')) break;
    text.remove_prefix(1);
  }
  if (count >= 3 && text.empty())
    return parts[0] * 3600 + parts[1] * 60 + parts[2] + parts[3] / frameRate;
  if (count != 1) return std::nullopt;
  if (text == "h") return parts[0] * 3600;
  if (text == "m") return parts[0] * 60;
  if (text == "s") return parts[0];
  if (text == "ms") return parts[0] / 1000;
  if (text == "f") return parts[0] / frameRate;
  if (text == "t") return parts[0] / (tickRate > 0 ? tickRate : namesFrames ? frameRate : 1);
  return std::nullopt;
}

}  // namespace media
