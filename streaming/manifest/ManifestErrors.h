#pragma once

#include <string>

#include "platform/foundation/Error.h"

namespace streaming {

/// A manifest that is none, or has nothing that could be played.
platform::Error unusableManifest(std::string reason);

}  // namespace streaming
