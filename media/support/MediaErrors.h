#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <gst/gst.h>

#include "platform/foundation/Error.h"

namespace media {

/// Whether media of this URL are fetched by `streaming/`: every scheme that names a network
/// resource or something that a sender may serve; not file: and data:.
bool isStreamedURL(const std::string& url);

/// Why `url` is not even tried: not a URL, a scheme that nobody serves, a file where files are not
/// allowed.
std::optional<platform::Error> refusalOf(const std::string& url, bool allowFileURLs);

/// The error that an ERROR message stands for. Errors of the network are the item's to tell.
platform::Error errorOfMessage(GstMessage* message);

platform::Error unrecognizedError();
/// Nothing has been heard of the load for too long, though nothing is awaited from the network: the
/// library may lose a demuxer's complaint where that one gives up at once.
platform::Error silenceError();
/// Something that a missing-plugin message says is needed; nothing when playback does without it.
std::optional<platform::Error> missingPluginError(const GstStructure* message);
/// The library would not start and said nothing.
platform::Error unknownMediaError();
/// The system has no thread left.
platform::Error noThreadError();

}  // namespace media
