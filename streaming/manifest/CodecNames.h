#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace streaming {

// Codec identifiers of manifests (RFC 6381), such as "avc1.4d401f".

bool isVideoCodec(std::string_view codec);
bool isAudioCodec(std::string_view codec);
bool isTextCodec(std::string_view codec);

/// Splits a comma-separated list. White space and empty elements are dropped.
std::vector<std::string> partsOfList(std::string_view text);

}  // namespace streaming
