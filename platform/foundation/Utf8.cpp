#include "platform/foundation/Utf8.h"

#include <cstddef>
#include <cstdint>

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

}  // namespace

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
