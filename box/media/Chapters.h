#pragma once

#include <vector>

#include <gst/gst.h>

#include "platform/media/MediaFacts.h"

namespace box {

/// The chapters in a table of contents: of its first edition, where it has several. Those within
/// each other are told one after the other; one without a name is called by its place.
///
/// Bounds: 1000 chapters.
std::vector<platform::MediaChapter> chaptersOf(const GstToc* toc);

}  // namespace box
