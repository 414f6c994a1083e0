#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/foundation/Error.h"
#include "streaming/transfer/NetworkErrors.h"

namespace streaming {

inline platform::Error mediaError(platform::MediaErrorCode code, std::string reason) {
  return {std::string(platform::kMediaErrorDomain),
          static_cast<std::int64_t>(code),
          {},
          std::move(reason),
          {}};
}

}  // namespace streaming
