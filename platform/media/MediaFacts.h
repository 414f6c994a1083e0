#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/MediaTime.h"
#include "platform/foundation/Value.h"

/// A duration that is not known, such as a live stream's.
inline constexpr double TVSDurationIndefinite = -1;

namespace platform {

/// Seconds on the item's own time line.
struct TimeRange {
  double start = 0;
  double duration = 0;
  friend bool operator==(const TimeRange&, const TimeRange&) = default;
};

struct MediaTrack {
  std::uint32_t trackID = 0;
  std::string mediaType;  ///< "video", "audio" or "text"
  std::string codec;
  bool enabled = true;
  friend bool operator==(const MediaTrack&, const MediaTrack&) = default;
};

/// A part of the item that has a name.
struct MediaChapter {
  double start = 0;  ///< seconds
  std::string title;
  friend bool operator==(const MediaChapter&, const MediaChapter&) = default;
};

// Media characteristics that an item may offer options for.
inline constexpr std::string_view kMediaCharacteristicAudible = "audible";
inline constexpr std::string_view kMediaCharacteristicLegible = "legible";
inline constexpr std::string_view kMediaCharacteristicVisual = "visual";  ///< angles, variants

// What an option is, beside its language.
inline constexpr std::string_view kMediaOptionDefault = "default";      ///< the author's choice
inline constexpr std::string_view kMediaOptionAuxiliary = "auxiliary";  ///< only when asked for
inline constexpr std::string_view kMediaOptionHardOfHearing = "hard-of-hearing";
inline constexpr std::string_view kMediaOptionTranscribes = "transcribes-spoken-dialog";
inline constexpr std::string_view kMediaOptionDescribesVideo = "describes-video";
inline constexpr std::string_view kMediaOptionCommentary = "commentary";
inline constexpr std::string_view kMediaOptionOutOfBand = "out-of-band";  ///< not in the media

struct MediaSelectionOption {
  std::string identifier;  ///< stable while the item is loaded
  std::string displayName;
  std::string languageTag;  ///< BCP 47, empty when unknown
  bool forced = false;      ///< text that is to be seen also by who understands the sound
  std::vector<std::string> characteristics = {};  ///< kMediaOption…
  friend bool operator==(const MediaSelectionOption&, const MediaSelectionOption&) = default;
};

/// The options of one characteristic and which of them is selected.
struct MediaSelectionGroup {
  std::string characteristic;
  std::vector<MediaSelectionOption> options;
  std::optional<std::size_t> selected;
  bool allowsEmptySelection = true;
  friend bool operator==(const MediaSelectionGroup&, const MediaSelectionGroup&) = default;
};

/// A piece of metadata that the media carry at a point of their time line.
struct TimedMetadataItem {
  Value key;
  std::optional<std::string> keySpace;
  std::optional<std::string> localeIdentifier;
  std::optional<MediaTime> time;
  Value value;
  Dictionary extraAttributes;
  friend bool operator==(const TimedMetadataItem&, const TimedMetadataItem&) = default;
};

/// What an engine knows of the item that it has loaded. Good until the next engine call or
/// callback.
struct MediaFacts {
  double duration = TVSDurationIndefinite;  ///< seconds
  bool live = false;
  std::vector<TimeRange> seekable;
  std::vector<TimeRange> loaded;
  bool likelyToKeepUp = false;
  bool bufferFull = false;
  bool bufferEmpty = true;
  std::optional<int> bufferingPercent;       ///< while it fills, 0 to 100
  std::optional<double> likelyToKeepUpTime;  ///< seconds from now
  std::optional<Date> playbackDate;  ///< of the current position, where the media carry dates
  std::optional<Date> estimatedDate;
  std::vector<MediaTrack> tracks;
  std::vector<MediaSelectionGroup> selectionGroups;
  std::vector<TimedMetadataItem> timedMetadata;  ///< at the current position
  std::vector<MediaChapter> chapters;            ///< by their starts
  std::string title;
};

}  // namespace platform
