#pragma once

#include <optional>
#include <string>

#include "platform/foundation/Error.h"

namespace box {

// What is said of networks and servers, in the words that a viewer may read.

platform::Error networkError(platform::URLErrorCode code, std::optional<std::string> reason = {});
platform::Error httpError(unsigned status);
/// There is no key, or none that fits.
platform::Error keyError();

/// For log lines: without what may be a secret, a user's name or a query, and not too long.
std::string loggableURL(const std::string& url);

}  // namespace box
