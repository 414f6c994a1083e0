#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Value.h"

namespace box {

/// Content keys are AES-128 ones, and so are the identifiers of theirs that media carry.
inline constexpr std::size_t kContentKeySize = 16;

// The messages of the W3C's Clear Key system, in JSON: what asks for a licence, and the licence.

/// `{"kids":["base64url"],"type":"temporary"}`
platform::Bytes keyRequestOf(const std::vector<platform::Bytes>& keyIDs,
                             std::string_view type = "temporary");

/// The key that an answer holds: a raw key of 16 bytes, or a licence, which may name several. Of
/// those it is the one with `keyID`; a licence with a single key need not name it, and must not
/// name another. Without a `keyID` only a single key is meant.
///
/// Nothing for everything else. `answer` comes from outside and may hold anything.
std::optional<platform::Bytes> keyOfAnswer(const platform::Bytes& answer,
                                           const std::optional<platform::Bytes>& keyID);

/// RFC 4648, section 5, without padding.
std::string base64urlOf(const platform::Bytes& bytes);
/// Takes padding too.
std::optional<platform::Bytes> bytesOfBase64url(std::string_view text);

}  // namespace box
