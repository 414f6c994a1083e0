#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/media/MediaFacts.h"
#include "streaming/manifest/Segment.h"

namespace streaming {

enum class MediaKind { Video, Audio, Text };

/// A system by which media are encrypted, as a manifest announces it.
struct Protection {
  std::string scheme;               ///< "cenc", "cbcs" …; empty when unknown
  std::string systemID;             ///< UUID in lower case; empty for the scheme itself
  std::vector<std::string> keyIDs;  ///< 32 hexadecimal digits in lower case
};

/// How the bytes of a text track are to be read.
enum class TextForm {
  None,    ///< the track is no text
  WebVTT,  ///< files of WebVTT: one for all, or one a segment
  TTML,    ///< documents of TTML, likewise
  SubRip,
  MP4,  ///< samples in fragmented mp4 (`wvtt`, `stpp`)
};

/// One of the forms in which a track is available. Immutable.
struct Representation {
  std::string id;  ///< unique within the presentation and stable over its updates
  /// Bits a second at most, and on average; 0 when unknown.
  double bandwidth = 0;
  double averageBandwidth = 0;
  int width = 0;  ///< pixels; 0 when unknown
  int height = 0;
  double frameRate = 0;             ///< 0 when unknown
  std::string mimeType;             ///< empty when unknown
  std::vector<std::string> codecs;  ///< RFC 6381; empty when unknown
  bool carriesSound = false;        ///< a picture with its sound in the same segments
  bool isKeyFramesOnly = false;     ///< for scanning (EXT-X-I-FRAME-STREAM-INF, trick modes)
  TextForm textForm = TextForm::None;
  std::vector<Protection> protections;
  /// HLS. Of a rendition: its GROUP-ID. Of a variant: the groups of the renditions that go with it.
  std::string group;
  std::string audioGroup;
  std::string textGroup;

  /// Where the segments are found. Exactly one of these three is set.
  std::shared_ptr<const SegmentIndex> segments;  ///< known from the manifest
  std::string playlistURL;                       ///< HLS: the media playlist, to be loaded
  std::optional<IndexedFile> indexedFile;        ///< DASH: one file with an index, to be loaded

  /// Added to the time stamps in the media to get the time of the presentation, in seconds. None:
  /// it follows from the first time stamp and the start of its segment (HLS).
  std::optional<double> timeOffset;
};

/// What a viewer may choose: the picture, a language of the sound, a subtitle. Immutable.
struct Track {
  MediaKind kind = MediaKind::Video;
  std::string id;        ///< unique within its period, and the same in periods that continue it
  std::string name;      ///< for people; empty when there is none
  std::string language;  ///< as the author wrote it; empty when unknown
  bool isForced = false;
  bool isDefault = false;
  std::vector<std::string> characteristics;  ///< platform::kMediaOption…, or the author's own
  /// The sound that comes in the segments of the picture: the track has no representations.
  bool isWithinPicture = false;
  /// Captions within the picture: "CC1" to "CC4". The track has no representations.
  std::string captionChannel;
  std::vector<std::shared_ptr<const Representation>> representations;  ///< by bandwidth
};

/// Immutable.
struct Period {
  std::string id;
  double start = 0;                ///< seconds
  std::optional<double> duration;  ///< none: until the next period, or unknown
  std::vector<Track> tracks;
};

/// Where the media say what time it was.
struct DateMark {
  double position = 0;
  platform::Date date;
  bool isDiscontinuous = false;  ///< dates before it do not continue over it
};

/// What a manifest says is to happen (EXT-X-DATERANGE, EventStream).
struct PresentationEvent {
  double position = 0;
  platform::TimedMetadataItem item;  ///< without its time
};

/// When and where a manifest is read again.
struct ReloadRule {
  std::string url;  ///< empty: where it was found
  /// Seconds between the beginnings of two requests. A manifest that has not changed is asked for
  /// again after half of it.
  double interval = 0;
  /// Blocking reload (HLS, second edition): the server waits for this segment, and part.
  std::optional<std::uint64_t> awaitedNumber;
  std::optional<std::uint64_t> awaitedPart;
  bool maySkip = false;  ///< a delta update may be asked for
  std::string patchURL;  ///< DASH: of a patch to the manifest; empty: none
};

struct DASHDocument;

/// A manifest as it was read at one time. Immutable; an update is a new one.
///
/// Times are seconds on the time line of the presentation: of HLS from the first segment of the
/// first playlist that was loaded, of DASH from the start of the presentation (live:
/// availabilityStartTime).
struct Presentation {
  bool isLive = false;  ///< it may grow
  std::optional<double> duration;
  /// DASH, live: civil time of position 0, and how far back the server keeps segments.
  std::optional<platform::Date> availabilityStart;
  std::optional<double> timeShiftDepth;
  /// How far from the edge a player of a live presentation is to stay, in seconds.
  std::optional<double> suggestedDelay;
  /// Where to begin (EXT-X-START); negative: from the end.
  std::optional<double> startOffset;
  double targetDuration = 0;         ///< of a segment, at most; 0 when unknown
  std::optional<ReloadRule> reload;  ///< none: it does not change any more
  /// DASH, live: where the time of the server can be had (UTCTiming).
  std::vector<std::pair<std::string, std::string>> clocks;  ///< scheme, value
  std::vector<Period> periods;                              ///< at least one
  std::vector<DateMark> dates;                              ///< by position
  std::vector<PresentationEvent> events;
  std::shared_ptr<const DASHDocument> document;  ///< DASH: what a patch is applied to, or null
};

}  // namespace streaming
