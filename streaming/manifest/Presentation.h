#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "streaming/manifest/Segment.h"

namespace platform {
struct TimedMetadataItem;
}

namespace streaming {

enum class MediaKind { Video, Audio, Text };

struct Protection {
  std::string scheme;               ///< "cenc", "cbcs" …; empty: unknown
  std::string systemID;             ///< UUID in lower case; empty for the scheme itself
  std::vector<std::string> keyIDs;  ///< 32 hexadecimal digits in lower case
};

enum class TextFormat {
  None,    ///< not a text track
  WebVTT,  ///< WebVTT files, one in total or one per segment
  TTML,    ///< TTML documents, one in total or one per segment
  SubRip,
  MP4,  ///< samples in fragmented MP4 (`wvtt`, `stpp`)
};

/// A variant or rendition of HLS, or a representation of DASH. Immutable.
struct Representation {
  std::string id;  ///< unique within the presentation; stable over updates
  /// Peak and average bit rate, bits per second; 0: unknown.
  double bandwidth = 0;
  double averageBandwidth = 0;
  int width = 0;  ///< pixels; 0: unknown
  int height = 0;
  double frameRate = 0;             ///< 0: unknown
  std::string mimeType;             ///< empty: unknown
  std::vector<std::string> codecs;  ///< RFC 6381; empty: unknown
  bool includesAudio = false;       ///< video with muxed audio
  bool isKeyFramesOnly = false;     ///< EXT-X-I-FRAME-STREAM-INF or trick mode
  TextFormat textFormat = TextFormat::None;
  std::vector<Protection> protections;
  /// HLS group IDs. `group` is that of a rendition, the others are those a variant refers to.
  std::string group;
  std::string audioGroup;
  std::string textGroup;

  /// Source of the segments. Exactly one of these three is set.
  std::shared_ptr<const SegmentIndex> segments;  ///< known from the manifest
  std::string playlistURL;                       ///< HLS: the media playlist
  std::optional<IndexedFile> indexedFile;        ///< DASH: a file with an index

  /// Added to media time stamps to get presentation time, in seconds. nullopt (HLS): the first time
  /// stamp corresponds to the start of its segment.
  std::optional<double> timeOffset;
};

/// A selectable track: the video, an audio language, a subtitle. Immutable.
struct Track {
  MediaKind kind = MediaKind::Video;
  std::string id;        ///< unique within the period; the same in continuing periods
  std::string name;      ///< for the user interface; may be empty
  std::string language;  ///< as in the manifest; empty: unknown
  bool isForced = false;
  bool isDefault = false;
  std::vector<std::string> characteristics;  ///< platform::kMediaOption… or values of the manifest
  /// Audio that is muxed into the video segments. The track has no representations.
  bool isMuxedIntoVideo = false;
  /// Captions in the video: "CC1" to "CC4" (CEA-608) or "SERVICE1" (CEA-708). The track has no
  /// representations.
  std::string captionChannel;
  std::vector<std::shared_ptr<const Representation>> representations;  ///< sorted by bandwidth
};

/// Immutable.
struct Period {
  std::string id;
  double start = 0;                ///< seconds
  std::optional<double> duration;  ///< nullopt: until the next period, or unknown
  std::vector<Track> tracks;
};

/// Maps a position to a date (EXT-X-PROGRAM-DATE-TIME, availabilityStartTime).
struct DateMark {
  double position = 0;
  platform::Date date;
  bool isDiscontinuous = false;  ///< dates before the mark cannot be computed from it
};

/// An event in a manifest (EXT-X-DATERANGE, EventStream).
struct PresentationEvent {
  double position = 0;
  /// Not null; its time is not set.
  std::shared_ptr<const platform::TimedMetadataItem> item;
};

struct ReloadRule {
  std::string url;  ///< empty: the current URL
  /// Seconds between the starts of two requests. An unchanged manifest is reloaded after half of
  /// it.
  double interval = 0;
  /// Blocking playlist reload (HLS): the media sequence number and part that the server waits for.
  std::optional<std::uint64_t> awaitedNumber;
  std::optional<std::uint64_t> awaitedPart;
  bool maySkip = false;  ///< the server supports delta updates
  std::string patchURL;  ///< DASH: URL of a patch; empty: none
};

struct DASHDocument;

/// One version of a manifest. Immutable; an update creates a new object.
///
/// Positions are in seconds. Position 0 is the first segment of the first playlist that was loaded
/// (HLS), or the start of the presentation (DASH; live: availabilityStartTime).
struct Presentation {
  bool isLive = false;  ///< segments may be added
  std::optional<double> duration;
  /// DASH live: the civil time of position 0, and timeShiftBufferDepth in seconds.
  std::optional<platform::Date> availabilityStart;
  std::optional<double> timeShiftDepth;
  /// suggestedPresentationDelay: the distance to the live edge, in seconds.
  std::optional<double> suggestedDelay;
  /// Start position (EXT-X-START). Negative: relative to the end.
  std::optional<double> startOffset;
  double targetDuration = 0;         ///< maximum segment duration; 0: unknown
  std::optional<ReloadRule> reload;  ///< nullopt: the manifest is not updated
  /// DASH live: sources of the server time (UTCTiming).
  std::vector<std::pair<std::string, std::string>> clocks;  ///< scheme, value
  std::vector<Period> periods;                              ///< not empty
  std::vector<DateMark> dates;                              ///< sorted by position
  std::vector<PresentationEvent> events;
  std::shared_ptr<const DASHDocument> document;  ///< DASH: the tree that patches apply to, or null
};

}  // namespace streaming
