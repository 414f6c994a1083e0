#pragma once

#include <string>

#include "platform/foundation/Error.h"

namespace streaming {

/// The error for a manifest that is invalid or contains nothing playable.
platform::Error unusableManifest(std::string reason);

}  // namespace streaming
