#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace streaming {

// Names of codecs as manifests have them (RFC 6381): "avc1.4d401f".

bool isPictureCodec(std::string_view codec);
bool isSoundCodec(std::string_view codec);
bool isTextCodec(std::string_view codec);

/// The parts of a list with commas, without blanks; empty parts are left out.
std::vector<std::string> partsOfList(std::string_view text);

}  // namespace streaming
