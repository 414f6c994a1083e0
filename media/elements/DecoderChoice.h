#pragma once

#include <optional>

#include <gst/gst.h>

#include "media/segments/TrackDemuxer.h"
#include "media/support/GstRef.h"

namespace media {

/// New elements without a parent. Null if the format needs none.
struct DecoderChoice {
  GstRef<GstElement> parser;
  GstRef<GstElement> decoder;  ///< in the READY state
};

/// Returns the parser and the decoder of the highest rank that accept these caps, or nullopt if
/// there is no decoder. `first` is a key frame.
std::optional<DecoderChoice> chooseDecoder(ElementaryKind kind, GstCaps* caps, GstBuffer* first);

}  // namespace media
