#include <array>
#include <cstdint>
#include <string_view>

#include "tools/vorlanectl/Json.h"

namespace vorlanectl {

namespace {
constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
}

std::string base64(const void* bytes, std::size_t size) {
  const auto* const data = static_cast<const std::uint8_t*>(bytes);
  std::string text;
  text.reserve((size + 2) / 3 * 4);
  for (std::size_t at = 0; at < size; at += 3) {
    std::uint32_t group = std::uint32_t{data[at]} << 16;
    if (at + 1 < size) group |= std::uint32_t{data[at + 1]} << 8;
    if (at + 2 < size) group |= data[at + 2];
    text += kAlphabet[group >> 18 & 63];
    text += kAlphabet[group >> 12 & 63];
    text += at + 1 < size ? kAlphabet[group >> 6 & 63] : '=';
    text += at + 2 < size ? kAlphabet[group & 63] : '=';
  }
  return text;
}

std::string decodeBase64(const std::string& text) {
  std::string bytes;
  std::uint32_t group = 0;
  int bits = 0;
  std::size_t padding = 0;
  for (const char letter : text) {
    if (letter == '=') {
      ++padding;
      continue;
    }
    const std::size_t value = kAlphabet.find(letter);
    if (value == std::string_view::npos || padding > 0) throw CodingError("$data is not base64");
    group = (group << 6 | static_cast<std::uint32_t>(value)) & 0xFFFFFF;
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes += static_cast<char>(group >> bits & 0xFF);
    }
  }
  if (padding > 2 || text.size() % 4 != 0) throw CodingError("$data is not base64");
  return bytes;
}

}  // namespace vorlanectl
