#pragma once

#include <string>

#include "streaming/playback/ResourceReader.h"

namespace media {

/// Returns the file name extension for the first bytes of a resource, such as ".mp4". Empty if
/// GStreamer does not recognise them, or the resource is not seekable.
///
/// With an extension in the URI, GStreamer's typefinding tries that format first and does not read
/// from the middle and the end of the resource.
std::string extensionOfResource(streaming::ResourceReader& reader);

}  // namespace media
