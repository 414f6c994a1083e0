#pragma once

#include <vector>

#include <gst/gst.h>

#include "media/metadata/MovieBoxes.h"
#include "media/support/GstRef.h"
#include "platform/media/MediaFacts.h"

namespace media {

/// The chapters in a table of contents: of its first edition, where it has several. Those within
/// each other are told one after the other; one without a name is called by its place.
///
/// Bounds: 1000 chapters.
std::vector<platform::MediaChapter> chaptersOf(const GstToc* toc);

/// Those in the "moov" of an mp4, which the library's demuxer passes over: its list, whose names
/// may be empty, or else the times of the track that its other tracks name for them.
///
/// Bounds: 1000 chapters.
std::vector<platform::MediaChapter> chaptersOfMovie(BoxBytes movie);

/// As the library's demuxers tell them.
GstRef<GstMessage> messageOf(const std::vector<platform::MediaChapter>& chapters,
                             GstObject* source);

}  // namespace media
