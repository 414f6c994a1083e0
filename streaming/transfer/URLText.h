#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Small functions on the texts of URLs and HTTP.
namespace streaming::http {

inline bool isOneOf(char c, std::string_view characters) {
  return characters.find(c) != characters.npos;
}
bool isAlphanumeric(char c);
bool isControl(char c);

/// Without blanks, tabs and line breaks at both ends.
std::string_view trimmed(std::string_view text);
std::string lowercase(std::string_view text);
/// Names of header fields have no case.
bool isSameName(std::string_view a, std::string_view b);
/// Decimal digits and nothing else.
std::optional<std::uint64_t> numberOf(std::string_view text);

/// A URL in the parts of RFC 3986. The parts are views of the text.
struct URLParts {
  std::string_view scheme;  ///< empty: a relative reference
  std::optional<std::string_view> authority;
  std::string_view path;
  std::optional<std::string_view> query;

  static URLParts of(std::string_view text);
};

/// In lower case; empty: the URL has none.
std::string schemeOf(std::string_view url);
bool isWeb(std::string_view url);

/// Host and port of a URL. The host is in lower case and without brackets; the port is the one of
/// the scheme where the URL names none, and 0 where it cannot be read.
struct Server {
  std::string host;
  unsigned port = 0;
  friend bool operator==(const Server&, const Server&) = default;
  static Server of(std::string_view url);
};

/// With each `%XX` replaced by its byte. None: an escape is incomplete.
std::optional<std::string> unescaped(std::string_view text);
/// Base64 of either alphabet, padded or not. White space is skipped.
std::optional<std::string> fromBase64(std::string_view text);

}  // namespace streaming::http
