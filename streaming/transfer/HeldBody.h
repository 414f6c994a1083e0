#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/foundation/Error.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// A body that is at hand, without a request to a server.
struct HeldBody {
  HeaderFields fields;
  std::uint64_t size = 0;
  /// Fewer bytes than `count` only if they cannot be read.
  std::function<std::string(std::uint64_t position, std::size_t count)> read;
};

/// Of a `data:` URL (RFC 2397). None: it is malformed.
std::optional<HeldBody> bodyOfDataURL(const std::string& url);
/// Of a `file:` URL that names a regular file on this machine.
std::optional<HeldBody> bodyOfFileURL(const std::string& url, platform::Error& error);

}  // namespace streaming
