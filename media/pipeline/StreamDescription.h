#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gst/gst.h>

#include "streaming/manifest/Presentation.h"

namespace media {

/// The properties of a stream.
struct StreamDescription {
  std::string id;  ///< GStreamer's stream id
  GstStreamType type = GST_STREAM_TYPE_UNKNOWN;
  std::optional<std::uint32_t> number;  ///< the container's number, if it has one
  std::string codec;
  std::string name;      ///< display name; may be empty
  std::string language;  ///< BCP 47; empty when unknown
  bool forced = false;
  bool byDefault = false;                    ///< marked as default by the container
  std::vector<std::string> characteristics;  ///< platform::kMediaOption…
  friend bool operator==(const StreamDescription&, const StreamDescription&) = default;
};

StreamDescription describeStream(GstStream* stream);
/// Describes a track of a manifest. The id is the track's.
StreamDescription describeTrack(const streaming::Track& track);

/// Returns the track number of an MP4 or Matroska stream, or the PID of a transport stream, from a
/// stream id.
std::optional<std::uint32_t> numberOfStreamID(const std::string& id);
/// Adds characteristics that the name implies, such as "English (SDH)".
void addCharacteristicsOfName(StreamDescription& stream);

/// Converts a language code or tag of containers and locales ("eng", "pt_BR", "und") to BCP 47.
/// Empty if it is not a language.
std::string languageTagOf(const std::string& code);
/// Compares languages without their regions.
bool isSameLanguage(const std::string& tag, const std::string& other);

}  // namespace media
