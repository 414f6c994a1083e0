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

/// The kind of an elementary stream of a track. A track may have both in the same segments.
enum class ElementaryKind { Video, Audio };

/// The format of the following buffers.
struct ElementaryFormat {
  ElementaryKind kind = ElementaryKind::Video;
  GstRef<GstCaps> caps;  ///< as for a parser or decoder: "video/x-h264, stream-format=avc, …"
};

/// A decrypted access unit with presentation times.
struct ElementaryBuffer {
  ElementaryKind kind = ElementaryKind::Video;
  GstRef<GstBuffer> buffer;  ///< with PTS, DTS, duration and the flags DELTA_UNIT and DISCONT
};

/// The track has no data between these times, in seconds.
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

/// Demuxes the pieces of a track.
///
/// Metadata in the media (ID3, event messages) is passed to handlers on the thread of next().
///
/// Threads: next() and reset() are called by one thread at a time.
class TrackDemuxer {
 public:
  struct Setup {
    std::shared_ptr<streaming::TrackReader> reader;
    std::shared_ptr<TimestampOffsets> offsets;  ///< shared by all demuxers of the presentation
    std::shared_ptr<ContentKeys> keys;          ///< null: encrypted samples cannot be played
    /// Which streams to output: audio in the segments of a video track may not be needed.
    bool wantsVideo = true;
    bool wantsAudio = true;
    /// Called with the time of an ID3 tag in seconds. May be empty.
    std::function<void(double seconds, std::string bytes)> foundID3;
    /// Called with a whole `emsg` box, the start of its segment, and the offset from media time to
    /// presentation time, in seconds. May be empty.
    std::function<void(double segmentStart, double timeOffset, std::string box)> foundEvent;
  };

  static std::unique_ptr<TrackDemuxer> make(Setup setup);
  virtual ~TrackDemuxer() = default;

  /// Returns the next item in the order of the segments. Blocks for bytes and keys. Returns nullopt
  /// if `gate` is closed; call reset() before the next call then.
  virtual std::optional<ElementaryItem> next(const streaming::ReadGate& gate) = 0;
  /// Drops all state after a seek of the reader. Formats are output again.
  virtual void reset() = 0;
};

}  // namespace media
