#pragma once

#include <optional>

#include <gst/gst.h>

#include "media/segments/TrackDemuxer.h"
#include "media/support/GstRef.h"

namespace media {

/// New elements, in no bin. Null where the format needs none.
struct DecoderChoice {
  GstRef<GstElement> parser;
  GstRef<GstElement> decoder;  ///< in READY state
};

/// The parser and the decoder of the highest rank that take media with these caps, of which `first`
/// is a key frame. None: there is no such decoder.
std::optional<DecoderChoice> chooseDecoder(ElementaryKind kind, GstCaps* caps, GstBuffer* first);

}  // namespace media
