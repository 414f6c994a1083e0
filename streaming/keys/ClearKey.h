#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Value.h"

namespace streaming {

/// Of a content key (AES-128) and of a key identifier.
inline constexpr std::size_t kContentKeySize = 16;

// The messages of the Clear Key system of the W3C, in JSON.

/// `{"kids":["base64url"],"type":"temporary"}`
platform::Bytes keyRequestOf(const std::vector<platform::Bytes>& keyIDs,
                             std::string_view type = "temporary");

/// The key in an answer: a raw key of 16 bytes, or a licence. Of several keys in a licence the one
/// with `keyID` is taken. A single key without an identifier is taken for any `keyID`. Without
/// `keyID` the licence has to hold exactly one key. None for any other answer.
std::optional<platform::Bytes> keyOfAnswer(const platform::Bytes& answer,
                                           const std::optional<platform::Bytes>& keyID);

/// RFC 4648, section 5, without padding.
std::string base64urlOf(const platform::Bytes& bytes);
/// Padding is accepted.
std::optional<platform::Bytes> bytesOfBase64url(std::string_view text);

}  // namespace streaming
