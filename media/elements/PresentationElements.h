#pragma once

#include <memory>

#include <gst/gst.h>

#include "media/segments/TrackDemuxer.h"

namespace media {

class PresentationSource;

/// Returns the GstElement of a source, which owns the source and forwards GStreamer's calls.
/// Floating.
GstElement* makePresentationElement(std::shared_ptr<PresentationSource> source);
GstPad* addPresentationPad(GstElement* element, ElementaryKind kind);
/// Returns null if the pad has been removed from its element.
std::shared_ptr<PresentationSource> sourceOfPad(GstPad* pad);

/// Returns a GstPipeline that forwards seeks and queries about the time line to `source`, also
/// before data flows. Floating.
GstElement* makePresentationBin(std::shared_ptr<PresentationSource> source);

}  // namespace media
