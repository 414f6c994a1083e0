#include "media/output/SubtitleColor.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace media {
namespace {

using platform::Color;

struct Named {
  std::string_view name;
  std::uint32_t value;  // RRGGBB
};
constexpr std::array<Named, 19> kNamed{{{"black", 0x000000},
                                        {"silver", 0xC0C0C0},
                                        {"gray", 0x808080},
                                        {"grey", 0x808080},
                                        {"white", 0xFFFFFF},
                                        {"maroon", 0x800000},
                                        {"red", 0xFF0000},
                                        {"purple", 0x800080},
                                        {"fuchsia", 0xFF00FF},
                                        {"magenta", 0xFF00FF},
                                        {"green", 0x008000},
                                        {"lime", 0x00FF00},
                                        {"olive", 0x808000},
                                        {"yellow", 0xFFFF00},
                                        {"navy", 0x000080},
                                        {"blue", 0x0000FF},
                                        {"teal", 0x008080},
                                        {"aqua", 0x00FFFF},
                                        {"cyan", 0x00FFFF}}};

float level(std::uint32_t value, unsigned shift) {
  return static_cast<float>(value >> shift & 255U) / 255.0F;
}

/// `text` has three or four channels of hexadecimal digits.
std::optional<Color> colorOfHex(std::string_view text) {
  const std::size_t size = text.size();
  const std::size_t digits = size == 3 || size == 4   ? 1
                             : size == 6 || size == 8 ? 2
                             : size == 12             ? 4
                                                      : 0;
  if (digits == 0) return std::nullopt;
  std::array<float, 4> channels{0, 0, 0, 1};
  const std::array<float, 5> most{1, 15, 255, 1, 65535};
  for (std::size_t index = 0; index * digits < size; ++index) {
    const std::string_view part = text.substr(index * digits, digits);
    unsigned value = 0;
    const auto end = part.data() + part.size();
    if (std::from_chars(part.data(), end, value, 16).ptr != end) return std::nullopt;
    channels[index] = static_cast<float>(value) / most[digits];
  }
  return Color{channels[0], channels[1], channels[2], channels[3]};
}

/// `text` is the list in the parentheses of rgb(…) or rgba(…).
std::optional<Color> colorOfList(std::string_view text) {
  std::array<float, 4> channels{0, 0, 0, 1};
  std::size_t count = 0;
  while (count < channels.size()) {
    const auto value = takeNumber(text);
    if (!value) break;
    const bool isPercentage = text.starts_with('%');
    if (isPercentage) text.remove_prefix(1);
    // Opacity is 0 to 1 in CSS, and 0 to 255 in TTML.
    const double most = isPercentage ? 100 : count == 3 && *value <= 1 ? 1 : 255;
    channels[count++] = static_cast<float>(std::clamp(*value / most, 0.0, 1.0));
    text = trimmed(text);
    if (text.starts_with(',') || text.starts_with('/')) text.remove_prefix(1);
  }
  if (count < 3 || !trimmed(text).empty()) return std::nullopt;
  return Color{channels[0], channels[1], channels[2], channels[3]};
}

bool equalsIgnoringCase(std::string_view one, std::string_view lower) {
  return std::equal(one.begin(), one.end(), lower.begin(), lower.end(), [](char a, char b) {
    return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
  });
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n\f";
  text.remove_prefix(std::min(text.find_first_not_of(kBlank), text.size()));
  return text.substr(0, text.find_last_not_of(kBlank) + 1);
}

std::optional<double> takeNumber(std::string_view& text) {
  constexpr std::size_t kLongest = 32;
  std::string_view rest = trimmed(text);
  if (rest.starts_with('+')) rest.remove_prefix(1);
  double value = 0;
  const std::size_t size = std::min(rest.size(), kLongest);
  const auto [end, error] =
      std::from_chars(rest.data(), rest.data() + size, value, std::chars_format::fixed);
  if (error != std::errc() || !std::isfinite(value)) return std::nullopt;
  text = rest.substr(static_cast<std::size_t>(end - rest.data()));
  return value;
}

std::optional<Color> colorOf(std::string_view text) {
  text = trimmed(text);
  if (text.starts_with('#')) return colorOfHex(text.substr(1));
  if (text.starts_with("rgb") && text.ends_with(')')) {
    const std::size_t open = text.find('(');
    if (open != std::string_view::npos)
      return colorOfList(text.substr(open + 1, text.size() - open - 2));
  }
  if (equalsIgnoringCase(text, "transparent")) return platform::kClear;
  const auto named = std::find_if(kNamed.begin(), kNamed.end(), [&](const Named& each) {
    return equalsIgnoringCase(text, each.name);
  });
  if (named == kNamed.end()) return std::nullopt;
  return Color{level(named->value, 16), level(named->value, 8), level(named->value, 0), 1};
}

}  // namespace media
