#include "box/relay/URLParts.h"

namespace box {
namespace {

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

int valueOfHexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  return (c >= 'a' ? c - 'a' : c - 'A') + 10;
}

}  // namespace

URLParts URLParts::of(std::string_view text) {
  URLParts parts;
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
    const auto end = text.find('/');
    parts.authority = text.substr(0, end);
    text.remove_prefix(parts.authority->size());
  }
  parts.path = text;
  return parts;
}

bool isScheme(std::string_view text) {
  if (text.empty() || !isLetter(text.front())) return false;
  for (const char c : text)
    if (!isAlphanumeric(c) && !isOneOf(c, "+-.")) return false;
  return true;
}

bool isAlphanumeric(char c) { return isLetter(c) || (c >= '0' && c <= '9'); }

bool isHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isControl(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }

std::optional<char> escapeAt(std::string_view text, std::size_t index) {
  if (index + 2 >= text.size() || !isHexDigit(text[index + 1]) || !isHexDigit(text[index + 2]))
    return {};
  return static_cast<char>(valueOfHexDigit(text[index + 1]) * 16 +
                           valueOfHexDigit(text[index + 2]));
}

void appendEscape(std::string& text, char byte) {
  static constexpr char digits[] = "0123456789ABCDEF";
  const auto value = static_cast<unsigned char>(byte);
  text += {'%', digits[value >> 4], digits[value & 15]};
}

std::string withLegalCharacters(std::string_view text) {
  std::string result;
  for (const char c : text)
    if (c <= ' ' || c >= '\x7f' || isOneOf(c, "\"<>\\^`{|}"))
      appendEscape(result, c);
    else
      result += c;
  return result;
}

std::string withQueryOf(std::string_view base, std::string reference) {
  base = base.substr(0, base.find('#'));
  const auto question = base.find('?');
  if (question == base.npos || question + 1 == base.size()) return reference;
  if (reference.find('?') != reference.npos) return reference;
  return reference.append(base.substr(question));
}

}  // namespace box
