#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <gst/gst.h>

#include "platform/foundation/Error.h"

namespace box {

/// What is known of a load when something goes wrong in it.
struct SourceReport {
  std::string url;
  std::optional<unsigned> httpStatus;  ///< of the newest answer; 0 when there was none
};

/// Why `url` is not even tried: not a URL, a scheme that is not played, a file where files are not
/// allowed.
std::optional<platform::Error> refusalOf(const std::string& url, bool allowFileURLs);

/// The error that an ERROR message stands for.
///
/// The library does not say why a connection failed, so that question is asked again here, by name
/// lookup and a connection: it blocks, at most two seconds beside the lookup.
platform::Error errorOfMessage(GstMessage* message, const SourceReport& source);

/// Nothing has been heard of the load for too long. A server may be to blame; a file has been read,
/// and is damaged: the library may lose a demuxer's complaint where that one gives up at once.
platform::Error silenceError(const SourceReport& source);
/// Something that a missing-plugin message says is needed; nothing when playback does without it.
std::optional<platform::Error> missingPluginError(const GstStructure* message);
/// The library would not start and said nothing.
platform::Error unknownMediaError();

}  // namespace box
