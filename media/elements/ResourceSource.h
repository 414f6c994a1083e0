#pragma once

#include <memory>

#include <gst/gst.h>

#include "streaming/playback/ResourceReader.h"

namespace media {

/// A source element that reads a resource. Floating.
///
/// A demuxer pulls from it and reads at any place, as in a file, where the resource is seekable and
/// its size is known. Any other resource is pushed. That of a radio station comes as
/// application/x-icy, with its name and genre as tags.
///
/// It answers a URI query with a name whose extension is that of the form of the resource, where
/// the form is known.
///
/// An error message of this element says only that there was one; the owner of the resource knows
/// more.
GstElement* makeResourceSource(std::shared_ptr<streaming::ResourceReader> reader);

}  // namespace media
