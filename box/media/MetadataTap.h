#pragma once

#include <functional>
#include <memory>

#include <gst/gst.h>

#include "box/media/MetadataTimeline.h"

namespace box {

/// Listens at the demuxers of a pipeline for metadata that the library passes over: ID3 in
/// transport streams, on its own or in the segments of an adaptive one, event messages in
/// fragmented mp4, and what a radio station says of itself. It leaves what it finds in `timeline`,
/// ahead of its time, and calls `found` on a streaming thread. Chapters of mp4 it has the demuxer
/// tell as others do, by a message with a table of contents.
///
/// Call it before the pipeline starts; the tap goes with the pipeline's elements.
void tapMetadata(GstElement* pipeline, std::shared_ptr<MetadataTimeline> timeline,
                 std::function<void()> found);

/// What tags of a stream say to people ("title", "artist" …), of the key space "common", or "icy"
/// for those of a radio station. A stream's own title names a track and is left out.
MetadataTimeline::Items itemsOfTags(const GstTagList* tags, bool isRadio);

}  // namespace box
