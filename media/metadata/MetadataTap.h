#pragma once

#include <functional>
#include <memory>

#include <gst/gst.h>

#include "media/metadata/MetadataTimeline.h"
#include "streaming/transfer/Transfer.h"

namespace media {

/// Listens at the demuxers of a pipeline for metadata that the library passes over: ID3 in
/// transport streams, and event messages in fragmented mp4. It adds them to `timeline` ahead of
/// their time, and calls `found` on a streaming thread. Chapters of mp4 are posted as a message
/// with a table of contents, as demuxers of other containers do.
///
/// Call it before the pipeline starts; the tap goes with the pipeline's elements.
void tapMetadata(GstElement* pipeline, std::shared_ptr<MetadataTimeline> timeline,
                 std::function<void()> found);

/// What a radio station says of itself in the header fields of its response ("icy-name" …).
MetadataTimeline::Items itemsOfStation(const streaming::HeaderFields& fields);

/// What tags of a stream say to people ("title", "artist" …), of the key space "common", or "icy"
/// for those of a radio station. A stream's own title names a track and is left out.
MetadataTimeline::Items itemsOfTags(const GstTagList* tags, bool isRadio);

}  // namespace media
