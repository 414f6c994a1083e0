#pragma once

#include "streaming/manifest/Presentation.h"

namespace media {

/// Returns whether GStreamer has decoders for the codecs (RFC 6381) of a representation in a
/// manifest. Missing and unknown codecs count as decodable.
///
/// Threads: any.
bool canDecode(streaming::MediaKind kind, const streaming::Representation& representation);

}  // namespace media
