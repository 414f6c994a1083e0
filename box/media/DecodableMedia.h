#pragma once

#include "streaming/manifest/Presentation.h"

namespace box {

/// Whether the media library has decoders for what a manifest says of a representation: its codecs
/// (RFC 6381). What it does not say, or nobody knows, counts as decodable: the media will tell.
///
/// Threads: any.
bool canDecode(streaming::MediaKind kind, const streaming::Representation& representation);

}  // namespace box
