#pragma once

#include "streaming/manifest/Presentation.h"

namespace media {

/// Whether the media library has decoders for what a manifest says of a representation: its codecs
/// (RFC 6381). A codec that is missing or unknown counts as decodable.
///
/// Threads: any.
bool canDecode(streaming::MediaKind kind, const streaming::Representation& representation);

}  // namespace media
