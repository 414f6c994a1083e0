#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Bytes.h"

namespace streaming {

/// Size of a content key (AES-128) and of a key ID.
inline constexpr std::size_t kContentKeySize = 16;

// Messages of the W3C Clear Key system (Encrypted Media Extensions), in JSON.

/// A license request: `{"kids":["base64url"],"type":"temporary"}`.
platform::Bytes keyRequestOf(const std::vector<platform::Bytes>& keyIDs,
                             std::string_view type = "temporary");

/// The key in a response: 16 raw bytes or a JSON license. Of several keys, the one with `keyID` is
/// returned. A single key without a key ID matches any `keyID`. Without `keyID` the license must
/// contain exactly one key. nullopt for any other response.
std::optional<platform::Bytes> keyFromResponse(const platform::Bytes& response,
                                               const std::optional<platform::Bytes>& keyID);

/// Encodes Base64url (RFC 4648, section 5) without padding.
std::string base64urlOf(const platform::Bytes& bytes);
/// Accepts padding.
std::optional<platform::Bytes> bytesOfBase64url(std::string_view text);

}  // namespace streaming
