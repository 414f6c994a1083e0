#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace streaming {

/// A URL in the parts of RFC 3986. The parts are views of the text.
struct URLParts {
  std::string_view scheme;  ///< empty: a relative reference
  std::optional<std::string_view> authority;
  std::string_view path;
  std::optional<std::string_view> query;

  static URLParts of(std::string_view text);
};

/// In lower case; empty: a relative reference.
std::string schemeOf(std::string_view url);
/// http or https.
bool isWebURL(std::string_view url);

/// Host and port of a URL. The host is in lower case and without brackets; the port is the one of
/// the scheme where the URL names none, and 0 where it cannot be read.
struct URLServer {
  std::string host;
  unsigned port = 0;
  friend bool operator==(const URLServer&, const URLServer&) = default;
  static URLServer of(std::string_view url);
};

/// The URL that `reference` stands for in a document found at `base` (RFC 3986, section 5), without
/// its fragment. Characters that may not stand in a URL are escaped. None for what names nothing:
/// an empty reference, or one with a control character. `data:` URLs and those of other schemes are
/// returned as they are.
std::optional<std::string> resolveURL(std::string_view base, std::string_view reference);

/// `url` with the query of `base`, unless it has one of its own or `base` has none.
std::string withQueryOf(std::string_view base, std::string url);

/// The value of a parameter in the query of `url`, as it is written there.
std::optional<std::string> queryParameter(std::string_view url, std::string_view name);
/// With each `%XX` replaced by its byte. None: an escape is incomplete.
std::optional<std::string> unescaped(std::string_view text);

}  // namespace streaming
