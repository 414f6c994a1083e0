#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/foundation/Error.h"
#include "streaming/transfer/NetworkErrors.h"

namespace streaming {

inline platform::Error mediaError(platform::MediaErrorCode code, std::string reason) {
  using Code = platform::MediaErrorCode;
  const char* sentence = "The media could not be played.";
  if (code == Code::FormatNotRecognized) sentence = "The format of the media is not recognized.";
  if (code == Code::DecoderNotFound) sentence = "There is no decoder for the media.";
  if (code == Code::DecodeFailed) sentence = "The media are damaged and cannot be decoded.";
  if (code == Code::ContentNotAuthorized) sentence = "There is no key for the media.";
  return {std::string(platform::kMediaErrorDomain),
          static_cast<std::int64_t>(code),
          sentence,
          std::move(reason),
          {}};
}

}  // namespace streaming
