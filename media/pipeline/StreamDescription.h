#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gst/gst.h>

#include "streaming/manifest/Presentation.h"

namespace media {

/// What a container says of one of its streams.
struct StreamDescription {
  std::string id;  ///< the library's
  GstStreamType type = GST_STREAM_TYPE_UNKNOWN;
  std::optional<std::uint32_t> number;  ///< the container's own, where it has one
  std::string codec;
  std::string name;      ///< for people; empty when there is none
  std::string language;  ///< BCP 47; empty when unknown
  bool forced = false;
  bool byDefault = false;                    ///< the author wants it played
  std::vector<std::string> characteristics;  ///< platform::kMediaOption…
  friend bool operator==(const StreamDescription&, const StreamDescription&) = default;
};

StreamDescription describeStream(GstStream* stream);
/// Of a track in a manifest; its id is the track's.
StreamDescription describeTrack(const streaming::Track& track);

/// The number of an mp4 or Matroska track, or the PID of a transport stream, in a stream's id.
std::optional<std::uint32_t> numberOfStreamID(const std::string& id);
/// What a name such as "English (SDH)" says beside it.
void addCharacteristicsOfName(StreamDescription& stream);

/// BCP 47 of a language code or tag as containers and locales write them ("eng", "pt_BR", "und");
/// empty for what names no language.
std::string languageTagOf(const std::string& code);
/// Whether they are one language, whatever their countries.
bool isSameLanguage(const std::string& tag, const std::string& other);

}  // namespace media
