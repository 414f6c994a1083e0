#pragma once

#include <vector>

#include <gst/gst.h>

#include "media/metadata/MovieBoxes.h"
#include "media/support/GstRef.h"
#include "platform/media/MediaTrack.h"

namespace media {

/// Returns the chapters of a table of contents. If it has several editions, the first one is used.
/// Nested chapters are flattened. A chapter without a title is numbered.
///
/// Limits: 1000 chapters.
std::vector<platform::MediaChapter> chaptersOf(const GstToc* toc);

/// Returns the chapters in the "moov" of an MP4, which qtdemux does not report: from the list in
/// "udta" (titles may be empty), or else from the times of the chapter track.
///
/// Limits: 1000 chapters.
std::vector<platform::MediaChapter> chaptersOfMovie(BoxBytes movie);

/// Returns a TOC message as GStreamer's demuxers post it.
GstRef<GstMessage> tocMessageOf(const std::vector<platform::MediaChapter>& chapters,
                                GstObject* source);

}  // namespace media
