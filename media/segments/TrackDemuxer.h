#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <gst/gst.h>

#include "media/support/GstRef.h"
#include "platform/foundation/Error.h"
#include "streaming/playback/TrackReader.h"

namespace media {

class ContentKeys;
class TimestampOffsets;

/// An elementary stream within a track: one of picture or sound, or both where they are in the same
/// segments.
enum class ElementaryKind { Video, Audio };

/// The format of what follows has changed, or is known for the first time.
struct ElementaryFormat {
  ElementaryKind kind = ElementaryKind::Video;
  GstRef<GstCaps> caps;  ///< for a parser or decoder: "video/x-h264, stream-format=avc, …"
};

/// An access unit, clear, with its times on the time line of the presentation.
struct ElementaryBuffer {
  ElementaryKind kind = ElementaryKind::Video;
  GstRef<GstBuffer> buffer;  ///< PTS, DTS, duration; DELTA_UNIT, DISCONT as GStreamer has them
};

/// There is nothing of the track between these times, in seconds.
struct ElementaryGap {
  double start = 0;
  double end = 0;
};

struct ElementaryEnd {};

struct ElementaryFailure {
  platform::Error error;
};

using ElementaryItem = std::variant<ElementaryFormat, ElementaryBuffer, ElementaryGap,
                                    ElementaryEnd, ElementaryFailure>;

/// Takes the pieces of a track apart.
///
/// What media say beside picture and sound (ID3, event messages) is told by a handler, on the
/// thread that calls next().
///
/// Threads: one calls next() and reset(), between which no other call is under way. close() is for
/// any.
class TrackDemuxer {
 public:
  struct Setup {
    std::shared_ptr<streaming::TrackReader> reader;
    std::shared_ptr<TimestampOffsets> offsets;  ///< of the presentation; all its demuxers share it
    std::shared_ptr<ContentKeys> keys;  ///< of encrypted samples; may be null: there are none
    /// Which of them to tell of: sound in the segments of a picture may be unwanted.
    bool wantsVideo = true;
    bool wantsAudio = true;
    /// Of a time in seconds. May be empty.
    std::function<void(double seconds, std::string bytes)> foundID3;
    /// A whole `emsg` box, with the time of its segment's start and of the presentation's zero of
    /// its media time. May be empty.
    std::function<void(double segmentStart, double timeOffset, std::string box)> foundEvent;
  };

  static std::unique_ptr<TrackDemuxer> make(Setup setup);
  virtual ~TrackDemuxer() = default;

  /// The next item in the order of the segments, waiting for bytes or keys. None when `gate` is
  /// closed; then reset() comes before the next call.
  virtual std::optional<ElementaryItem> next(const streaming::ReadGate& gate) = 0;
  /// The reader has been sought: what was under way is forgotten, formats are told anew.
  virtual void reset() = 0;
};

}  // namespace media
