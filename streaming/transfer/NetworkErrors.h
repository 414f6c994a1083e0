#pragma once

#include <optional>
#include <string>

#include "platform/foundation/Error.h"

namespace streaming {

// Errors of networks and servers, with texts for viewers.

platform::Error networkError(platform::URLErrorCode code, std::optional<std::string> reason = {});
platform::Error httpError(unsigned status);
/// There is no key, or none that fits.
platform::Error keyError();

/// For log lines: without user name, query and fragment, which may hold secrets, and shortened.
std::string loggableURL(const std::string& url);

}  // namespace streaming
