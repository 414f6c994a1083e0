#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace box {

/// A URL, or a reference, cut where RFC 3986 cuts it. It holds views of the text that it came from.
struct URLParts {
  std::string_view scheme;  ///< empty: a relative reference
  std::optional<std::string_view> authority;
  std::string_view path;
  std::optional<std::string_view> query;

  /// Cuts whatever it is given. `text` has no fragment.
  static URLParts of(std::string_view text);
};

bool isScheme(std::string_view text);
bool isAlphanumeric(char c);
bool isHexDigit(char c);
bool isControl(char c);
inline bool isOneOf(char c, std::string_view characters) {
  return characters.find(c) != characters.npos;
}

/// The byte that `text[index]`, a percent sign, escapes.
std::optional<char> escapeAt(std::string_view text, std::size_t index);
void appendEscape(std::string& text, char byte);
/// With escapes for what may stand in no URL. Percent signs stay as they are.
std::string withLegalCharacters(std::string_view text);
/// `reference` with the query of `base`, unless it has one of its own or there is none.
std::string withQueryOf(std::string_view base, std::string reference);

}  // namespace box
