#pragma once

#include <memory>

#include <gst/gst.h>

#include "streaming/playback/ResourceReader.h"

namespace media {

/// Creates a source element that reads a resource. Floating.
///
/// If the resource is seekable and its size is known, a demuxer can pull at any position, as from a
/// file. Any other resource is pushed. The stream of a radio station has the caps
/// application/x-icy, and tags with its name and genre.
///
/// The URI that it reports has a file name extension for the format of the resource, if the format
/// is known.
///
/// Its error messages have no details; the owner of the resource has the error.
GstElement* makeResourceSource(std::shared_ptr<streaming::ResourceReader> reader);

}  // namespace media
