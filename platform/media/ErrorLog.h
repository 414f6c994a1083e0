#pragma once

#include "platform/foundation/Dictionary.h"
#include "platform/media/MediaEngine.h"

namespace platform {

/// Appends a dictionary with kErrorLog… keys. Removes the oldest entry if `log` has 100 entries.
void appendToErrorLog(Array& log, const FailedRequest& failure);

}  // namespace platform
