#pragma once

#include <memory>
#include <optional>

#include "platform/foundation/Error.h"
#include "streaming/manifest/Presentation.h"
#include "streaming/playback/SegmentBytes.h"

namespace streaming {

/// A segment or an event of a track, as the demuxer receives it.
struct TrackPiece {
  enum class Kind {
    Media,
    Gap,     ///< no media from the start to the end of the segment
    End,     ///< end of the track
    Failed,  ///< the track cannot be loaded
  };
  Kind kind = Kind::Media;
  Segment segment;
  std::shared_ptr<const Representation> representation;
  std::shared_ptr<const SegmentBytes> initialization;  ///< null: none
  std::shared_ptr<const SegmentBytes> media;           ///< decrypted, except samples of SampleAES
  /// SampleAES: the key, 16 bytes. Otherwise null.
  std::shared_ptr<const std::string> sampleKey;
  /// The first piece after a seek, or one whose time or time stamps do not continue the previous
  /// one.
  bool isDiscontinuous = false;
  /// Set for the first piece after a seek: the seek position. Bytes before it need not be read.
  std::optional<double> seekPosition;
  std::optional<platform::Error> error;  ///< set for Failed
};

/// The kinds of elementary streams in a representation.
struct ContainedStreams {
  bool hasVideo = false;
  bool hasAudio = false;
  friend bool operator==(const ContainedStreams&, const ContainedStreams&) = default;
};

/// Reads the selected representation of a track. One thread reads; other functions may be called on
/// any thread.
class TrackReader {
 public:
  virtual ~TrackReader() = default;
  /// Waits for the next piece, whose bytes may still be arriving. nullopt: `gate` is closed. There
  /// is no timeout: a live presentation may stop without an error.
  virtual std::optional<TrackPiece> next(const ReadGate& gate) = 0;
  /// The piece that contains `seconds` is returned next.
  virtual void seek(double seconds) = 0;
  /// The demuxer reports the streams it has found, because the manifest may not list codecs.
  virtual void setContainedStreams(const Representation&, ContainedStreams) {}
};

}  // namespace streaming
