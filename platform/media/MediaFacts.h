#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/MediaTime.h"
#include "platform/foundation/Value.h"

/// An unknown duration, such as that of a live stream.
inline constexpr double TVSDurationIndefinite = -1;

namespace platform {

/// In seconds on the timeline of the item.
struct TimeRange {
  double start = 0;
  double duration = 0;
  friend bool operator==(const TimeRange&, const TimeRange&) = default;
};

struct MediaTrack {
  std::uint32_t trackID = 0;
  std::string mediaType;  ///< "video", "audio" or "text"
  /// For display only; may be empty. Forms: a name ("H.264 (High Profile)"), the first part of a
  /// codec of a manifest ("avc1"), or a media type ("video/x-h264").
  std::string codec;
  bool enabled = true;
  friend bool operator==(const MediaTrack&, const MediaTrack&) = default;
};

/// A named part of the item.
struct MediaChapter {
  double start = 0;  ///< seconds
  std::string title;
  friend bool operator==(const MediaChapter&, const MediaChapter&) = default;
};

// Characteristics of selection groups.
inline constexpr std::string_view kMediaCharacteristicAudible = "audible";
inline constexpr std::string_view kMediaCharacteristicLegible = "legible";
inline constexpr std::string_view kMediaCharacteristicVisual = "visual";  ///< angles, variants

// Characteristics of options.
inline constexpr std::string_view kMediaOptionDefault = "default";      ///< marked by the author
inline constexpr std::string_view kMediaOptionAuxiliary = "auxiliary";  ///< never auto-selected
inline constexpr std::string_view kMediaOptionHardOfHearing = "hard-of-hearing";
inline constexpr std::string_view kMediaOptionTranscribes = "transcribes-spoken-dialog";
inline constexpr std::string_view kMediaOptionDescribesVideo = "describes-video";
inline constexpr std::string_view kMediaOptionCommentary = "commentary";
inline constexpr std::string_view kMediaOptionOutOfBand = "out-of-band";  ///< not in the media

struct MediaSelectionOption {
  std::string identifier;  ///< constant while the item is loaded
  std::string displayName;
  std::string languageTag;                        ///< BCP 47; empty if unknown
  bool forced = false;                            ///< subtitles for foreign dialog only
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

/// Metadata with a position on the timeline.
struct TimedMetadataItem {
  Value key;
  std::optional<std::string> keySpace;
  std::optional<std::string> localeIdentifier;
  std::optional<MediaTime> time;
  Value value;
  Dictionary extraAttributes;
  friend bool operator==(const TimedMetadataItem&, const TimedMetadataItem&) = default;
};

/// The properties of the loaded item. References are valid until the next call into the engine or
/// its next callback.
struct MediaFacts {
  double duration = TVSDurationIndefinite;  ///< seconds
  bool live = false;
  std::vector<TimeRange> seekable;
  std::vector<TimeRange> loaded;
  bool likelyToKeepUp = false;
  bool bufferFull = false;
  bool bufferEmpty = true;
  std::optional<int> bufferingPercent;       ///< 0 to 100 while the buffer fills
  std::optional<double> likelyToKeepUpTime;  ///< seconds from now
  std::optional<Date> playbackDate;          ///< of the current position, if the media have dates
  std::optional<Date> estimatedDate;
  std::vector<MediaTrack> tracks;
  std::vector<MediaSelectionGroup> selectionGroups;
  std::vector<TimedMetadataItem> timedMetadata;  ///< at the current position
  std::vector<MediaChapter> chapters;            ///< in order of start
  std::string title;
  /// The video output shows a still image, because the item has a cover and no video.
  bool hasCover = false;
};

}  // namespace platform
