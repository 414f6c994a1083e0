#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace streaming {

/// The URL that `reference` stands for in a document found at `base` (RFC 3986, section 5), without
/// its fragment. Characters that may not stand in a URL are escaped. None for what names nothing:
/// an empty reference, or one with a control character. `data:` URLs and those of other schemes are
/// returned as they are.
std::optional<std::string> resolveURL(std::string_view base, std::string_view reference);

/// `url` with the query of `base`, unless it has one of its own or `base` has none.
std::string withQueryOf(std::string_view base, std::string url);

/// In lower case; empty: a relative reference.
std::string schemeOf(std::string_view url);
/// http or https.
bool isWebURL(std::string_view url);
/// The value of a parameter in the query of `url`, as it is written there.
std::optional<std::string> queryParameter(std::string_view url, std::string_view name);

}  // namespace streaming
