#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/foundation/Error.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// A body that is available without an HTTP request.
struct LocalBody {
  HeaderFields fields;
  std::uint64_t size = 0;
  /// Returns fewer than `count` bytes only after a read error.
  std::function<std::string(std::uint64_t position, std::size_t count)> read;
};

/// Decodes a `data:` URL (RFC 2397). nullopt: malformed.
std::optional<LocalBody> readDataURL(const std::string& url);
/// Opens a `file:` URL of a regular file.
std::optional<LocalBody> openFileURL(const std::string& url, platform::Error& error);

}  // namespace streaming
