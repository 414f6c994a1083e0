#pragma once

#include <memory>

#include <gst/gst.h>

#include "media/segments/TrackDemuxer.h"

namespace media {

class PresentationSource;

/// The GObject of a source, which owns it and passes on what GStreamer asks it for. Floating.
GstElement* makePresentationElement(std::shared_ptr<PresentationSource> source);
GstPad* addPresentationPad(GstElement* element, ElementaryKind kind);
/// Null for a pad that is no longer of such an element.
std::shared_ptr<PresentationSource> sourceOfPad(GstPad* pad);

/// A GstPipeline whose seeks are performed by `source`, and whose queries about the time line it
/// answers, also where no stream has begun. Floating.
GstElement* makePresentationBin(std::shared_ptr<PresentationSource> source);

}  // namespace media
