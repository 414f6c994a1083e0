#include "platform/foundation/Utf8.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace platform {

namespace {

std::uint8_t byteAt(std::string_view text, std::size_t index) {
  return static_cast<std::uint8_t>(text[index]);
}

/// The length in bytes of the character at `at`, or 0 if there is no valid one.
std::size_t characterLength(std::string_view text, std::size_t at) {
  const std::uint8_t first = byteAt(text, at);
  if (first < 0x80) return first == 0 ? 0 : 1;
  std::size_t length = 0;
  std::uint8_t lowest = 0x80;
  std::uint8_t highest = 0xBF;
  if (first >= 0xC2 && first <= 0xDF) {
    length = 2;
  } else if (first >= 0xE0 && first <= 0xEF) {
    length = 3;
    if (first == 0xE0) lowest = 0xA0;
    if (first == 0xED) highest = 0x9F;
  } else if (first >= 0xF0 && first <= 0xF4) {
    length = 4;
    if (first == 0xF0) lowest = 0x90;
    if (first == 0xF4) highest = 0x8F;
  } else {
    return 0;
  }
  if (text.size() - at < length) return 0;
  if (byteAt(text, at + 1) < lowest || byteAt(text, at + 1) > highest) return 0;
  for (std::size_t index = at + 2; index < at + length; ++index) {
    if ((byteAt(text, index) & 0xC0) != 0x80) return 0;
  }
  return length;
}

/// Decodes the valid character of `length` bytes at `at`.
char32_t characterAt(std::string_view text, std::size_t at, std::size_t length) {
  char32_t value = byteAt(text, at);
  if (length > 1) value &= 0xFFU >> (length + 1);
  for (std::size_t index = at + 1; index < at + length; ++index)
    value = value << 6 | (byteAt(text, index) & 0x3FU);
  return value;
}

struct CharacterRange {
  char32_t first;
  char32_t last;
};

bool isInAny(std::span<const CharacterRange> ranges, char32_t value) {
  return std::any_of(ranges.begin(), ranges.end(), [&](const CharacterRange& each) {
    return value >= each.first && value <= each.last;
  });
}

/// Hebrew to Arabic Extended-A with the presentation forms, and the right-to-left planes.
constexpr CharacterRange kRightToLeft[]{{0x05BE, 0x08FF}, {0x200F, 0x200F},   {0xFB1D, 0xFDFF},
                                        {0xFE70, 0xFEFC}, {0x10800, 0x10FFF}, {0x1E800, 0x1EFFF}};
/// Digits, punctuation, symbols, marks and controls.
constexpr CharacterRange kWithoutDirection[]{
    {0, 0x40},        {0x5B, 0x60},     {0x7B, 0xA9},     {0xAB, 0xB4},     {0xB6, 0xB9},
    {0xBB, 0xBF},     {0xD7, 0xD7},     {0xF7, 0xF7},     {0x02B9, 0x036F}, {0x0600, 0x0607},
    {0x060C, 0x060C}, {0x0610, 0x061A}, {0x064B, 0x066C}, {0x06F0, 0x06F9}, {0x2000, 0x200D},
    {0x2010, 0x2070}, {0x2074, 0x20FF}, {0x2190, 0x2BFF}, {0x2E00, 0x2E7F}, {0x3000, 0x3004},
    {0x3008, 0x3020}, {0xFD3E, 0xFD4F}, {0xFE00, 0xFE6F}, {0xFEFF, 0xFF20}, {0x1F000, 0x1FAFF}};

}  // namespace

bool runsRightToLeft(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = characterLength(text, at);
    const char32_t value = length > 0 ? characterAt(text, at, length) : 0;
    at += std::max<std::size_t>(length, 1);
    if (!isInAny(kWithoutDirection, value)) return isInAny(kRightToLeft, value);
  }
  return false;
}

bool isValidText(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = characterLength(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

std::string replacingInvalidText(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = characterLength(text, at);
    if (length == 0) {
      result += "\xEF\xBF\xBD";
      ++at;
    } else {
      result += text.substr(at, length);
      at += length;
    }
  }
  return result;
}

}  // namespace platform
