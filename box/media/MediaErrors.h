#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <gst/gst.h>

#include "platform/foundation/Error.h"

namespace box {

/// Why `url` is not even tried: not a URL, a scheme that nobody serves, a file where files are not
/// allowed.
std::optional<platform::Error> refusalOf(const std::string& url, bool allowFileURLs);

/// The error that an ERROR message stands for. Of networks it knows nothing: the relay does.
platform::Error errorOfMessage(GstMessage* message);

platform::Error unrecognizedError();
/// Nothing has been heard of the load for too long, though nothing is awaited from the network: the
/// library may lose a demuxer's complaint where that one gives up at once.
platform::Error silenceError();
/// Something that a missing-plugin message says is needed; nothing when playback does without it.
std::optional<platform::Error> missingPluginError(const GstStructure* message);
/// The library would not start and said nothing.
platform::Error unknownMediaError();

}  // namespace box
