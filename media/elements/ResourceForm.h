#pragma once

#include <string>

#include "streaming/playback/ResourceReader.h"

namespace media {

/// The file name extension of what the first bytes of a resource are, ".mp4"; empty where the
/// library does not know them, or the resource cannot be read again from its beginning.
///
/// With an extension, the library tries that form first when it looks for the form itself, and does
/// not read the middle and the end of the resource.
std::string extensionOfResource(streaming::ResourceReader& reader);

}  // namespace media
