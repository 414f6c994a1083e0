#pragma once

#include <functional>
#include <memory>

#include <gst/gst.h>

#include "media/metadata/MetadataTimeline.h"
#include "streaming/transfer/Transfer.h"

namespace media {

/// An element message: a transport stream has audio that tsdemux leaves out.
constexpr const char* kSkippedAudioMessage = "vorlane-skipped-audio";

/// Reads metadata at the sink pads of demuxers that these do not report: ID3 in transport streams
/// and event messages in fragmented MP4. Adds it to `timeline` before it is due and calls `found`
/// on a streaming thread. Chapters of MP4 are posted as a TOC message, like by demuxers of other
/// formats. Also posts kSkippedAudioMessage.
///
/// Call it before the pipeline starts. The probes live as long as the pads.
void tapMetadata(GstElement* pipeline, std::shared_ptr<MetadataTimeline> timeline,
                 std::function<void()> found);

/// Returns the metadata in the header fields of a radio station ("icy-name" …).
MetadataTimeline::Items itemsOfStation(const streaming::HeaderFields& fields);

/// Returns the descriptive tags ("title", "artist" …) in the key space "common", or "icy" for a
/// radio station.
MetadataTimeline::Items itemsOfTags(const GstTagList* tags, bool isRadio);

}  // namespace media
