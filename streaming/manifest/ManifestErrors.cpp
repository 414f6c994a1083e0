#include "streaming/manifest/ManifestErrors.h"

#include <utility>

namespace streaming {

platform::Error unusableManifest(std::string reason) {
  return {std::string(platform::kMediaErrorDomain),
          static_cast<std::int64_t>(platform::MediaErrorCode::FormatNotRecognized),
          "The format of the media is not recognized.",
          std::move(reason),
          {}};
}

}  // namespace streaming
