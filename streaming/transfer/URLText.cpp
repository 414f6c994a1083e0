#include "streaming/transfer/URLText.h"

#include <algorithm>
#include <charconv>

namespace streaming::http {
namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool isScheme(std::string_view text) {
  return !text.empty() && isLetter(text.front()) &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return isAlphanumeric(c) || isOneOf(c, "+-."); });
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char letter = lower(c);
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

int base64Value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+' || c == '-') return 62;
  return c == '/' || c == '_' ? 63 : -1;
}

}  // namespace

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

URLParts URLParts::of(std::string_view text) {
  URLParts parts;
  text = text.substr(0, text.find('#'));
  const auto colon = text.find(':');
  if (colon != text.npos && isScheme(text.substr(0, colon))) {
    parts.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  const auto question = text.find('?');
  if (question != text.npos) {
    parts.query = text.substr(question + 1);
    text = text.substr(0, question);
  }
  if (text.starts_with("//")) {
    text.remove_prefix(2);
    parts.authority = text.substr(0, text.find('/'));
    text.remove_prefix(parts.authority->size());
  }
  parts.path = text;
  return parts;
}

std::string schemeOf(std::string_view url) { return lowercase(URLParts::of(url).scheme); }

bool isWeb(std::string_view url) {
  const std::string scheme = schemeOf(url);
  return scheme == "http" || scheme == "https";
}

Server Server::of(std::string_view url) {
  Server server;
  const auto parts = URLParts::of(url);
  if (!parts.authority) return server;
  std::string_view text = *parts.authority;
  if (const auto at = text.rfind('@'); at != text.npos) text.remove_prefix(at + 1);
  const bool isBracketed = text.starts_with('[');
  const auto end = isBracketed ? text.find(']') : text.find(':');
  server.host = lowercase(isBracketed ? text.substr(1, end == text.npos ? end : end - 1)
                                      : text.substr(0, end));
  std::string_view port = end == text.npos ? std::string_view() : text.substr(end);
  if (port.starts_with(']')) port.remove_prefix(1);
  if (port.starts_with(':')) port.remove_prefix(1);
  if (port.empty())
    server.port = isSameName(parts.scheme, "https") ? 443 : 80;
  else if (const auto number = numberOf(port); number && *number <= 65535)
    server.port = static_cast<unsigned>(*number);
  return server;
}

std::optional<std::string> unescaped(std::string_view text) {
  std::string result;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (text[index] != '%') {
      result += text[index];
      continue;
    }
    if (index + 2 >= text.size()) return std::nullopt;
    const int high = hexValue(text[index + 1]);
    const int low = hexValue(text[index + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    result += static_cast<char>(high * 16 + low);
    index += 2;
  }
  return result;
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

}  // namespace streaming::http
