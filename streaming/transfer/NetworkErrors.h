#pragma once

#include <optional>
#include <string>

#include "platform/foundation/Error.h"

namespace streaming {

// Errors of networks and servers, with messages for the user.

platform::Error networkError(platform::URLErrorCode code, std::optional<std::string> reason = {});
platform::Error httpError(unsigned status);
/// There is no key, or the key is invalid.
platform::Error keyError();

/// The URL for log lines: shortened, without user name, query and fragment, which may contain
/// secrets.
std::string loggableURL(const std::string& url);

}  // namespace streaming
