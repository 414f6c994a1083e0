#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <gst/gst.h>

#include "platform/foundation/Error.h"

namespace media {

/// Returns whether media of this URL are fetched by `streaming/`: true for every scheme except
/// file: and data:, also for schemes that the sender resolves.
bool isStreamedURL(const std::string& url);

/// Returns the error for a URL that cannot be opened: invalid, with a scheme that is not supported,
/// or a file URL while these are not allowed.
std::optional<platform::Error> unsupportedURLError(const std::string& url, bool allowFileURLs);

/// Converts an ERROR message. Network errors are taken from the item instead.
platform::Error errorOfMessage(GstMessage* message);

/// Returns whether a decoder has reported, at the end of its stream, that it got packets but no
/// frame was in the segment. That is no fault if the segment begins behind the last packet.
bool isWithoutFrames(GstMessage* error);

platform::Error unrecognizedError();
platform::Error noDecoderError(std::optional<std::string> reason = {});
/// The media have been recognized but cannot be decoded.
platform::Error damagedError();
/// The pipeline has not reported anything for too long, although no data is missing. GStreamer may
/// lose the error of a demuxer that fails while it starts.
platform::Error noProgressError();
/// Returns the error of a missing-plugin message, or nullopt if playback can go on without the
/// plugin.
std::optional<platform::Error> missingPluginError(const GstStructure* message);
/// Returns whether streams with caps of this type may be missing: subtitles and data.
bool isOptionalStream(std::string_view type);
/// The pipeline could not be started and did not report an error.
platform::Error unknownMediaError();
/// No thread could be created.
platform::Error noThreadError();

}  // namespace media
