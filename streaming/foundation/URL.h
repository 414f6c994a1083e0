#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace streaming {

/// The components of a URL (RFC 3986). They are views of the parsed text.
struct URLParts {
  std::string_view scheme;  ///< empty for a relative reference
  std::optional<std::string_view> authority;
  std::string_view path;
  std::optional<std::string_view> query;

  static URLParts of(std::string_view text);
};

/// In lower case. Empty for a relative reference.
std::string schemeOf(std::string_view url);
/// The scheme is http or https.
bool isWebURL(std::string_view url);

/// Host (lower case, no brackets) and port of a URL. Without a port in the URL, `port` is the
/// default of the scheme. An invalid port is 0.
struct URLServer {
  std::string host;
  unsigned port = 0;
  friend bool operator==(const URLServer&, const URLServer&) = default;
  static URLServer of(std::string_view url);
};

/// Resolves `reference` against `base` (RFC 3986, section 5) and removes the fragment. Characters
/// that are not allowed in a URL are escaped. `data:` URLs are returned unchanged. nullopt for an
/// empty reference and for one with a control character.
std::optional<std::string> resolveURL(std::string_view base, std::string_view reference);

/// Appends the query of `base` to `url`, unless `url` already has a query.
std::string withQueryOf(std::string_view base, std::string url);

/// The value of a query parameter, still escaped.
std::optional<std::string> queryParameter(std::string_view url, std::string_view name);
/// Decodes percent escapes. nullopt if an escape is invalid.
std::optional<std::string> unescaped(std::string_view text);

}  // namespace streaming
