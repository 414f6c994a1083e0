#include "streaming/foundation/Text.h"

#include <algorithm>
#include <charconv>

namespace streaming {
namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

int base64Value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+' || c == '-') return 62;
  return c == '/' || c == '_' ? 63 : -1;
}

}  // namespace

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool isAlphanumeric(char c) { return isLetter(c) || (c >= '0' && c <= '9'); }

bool isControl(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kWhiteSpace = " \t\r\n";
  const auto begin = text.find_first_not_of(kWhiteSpace);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(kWhiteSpace) - begin + 1);
}

std::string lowercase(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), lower);
  return result;
}

bool isSameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lower(x) == lower(y); });
}

std::optional<std::uint64_t> numberOf(std::string_view text) {
  std::uint64_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size())
    return std::nullopt;
  return number;
}

std::optional<std::string> fromBase64(std::string_view text) {
  std::string result;
  unsigned group = 0;
  int bits = 0;
  bool isPadded = false;
  for (const char c : text) {
    if (isOneOf(c, " \t\r\n")) continue;
    if (c == '=') {
      isPadded = true;
      continue;
    }
    const int value = base64Value(c);
    if (value < 0 || isPadded) return std::nullopt;
    group = group << 6 | static_cast<unsigned>(value);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    result += static_cast<char>(group >> bits & 0xFF);
  }
  if (bits == 6) return std::nullopt;
  return result;
}

}  // namespace streaming
