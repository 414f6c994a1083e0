#pragma once

#include <memory>
#include <optional>

#include "platform/foundation/Error.h"
#include "streaming/manifest/Presentation.h"
#include "streaming/playback/SegmentBytes.h"

namespace streaming {

/// One piece of a track as a demuxer gets it.
struct TrackPiece {
  enum class Kind {
    Media,
    Gap,     ///< there is nothing of the track from the segment's start to its end
    End,     ///< the track has no more segments
    Failed,  ///< nothing of the track can be had any more
  };
  Kind kind = Kind::Media;
  Segment segment;
  std::shared_ptr<const Representation> representation;
  std::shared_ptr<const SegmentBytes> initialization;  ///< null: none is needed
  std::shared_ptr<const SegmentBytes> media;  ///< decrypted where whole segments are encrypted
  /// Of a segment of SampleAES: the key, 16 bytes; otherwise null.
  std::shared_ptr<const std::string> sampleKey;
  /// The first piece after a seek, or one that does not follow the one before it in time or in time
  /// stamps.
  bool isDiscontinuous = false;
  /// Of the first piece after a seek: the position that was sought. What is before it in a long
  /// segment need not be read.
  std::optional<double> sought;
  std::optional<platform::Error> error;  ///< of Failed
};

/// Which elementary streams the pieces of a representation hold.
struct PieceContent {
  bool hasPicture = false;
  bool hasSound = false;
  friend bool operator==(const PieceContent&, const PieceContent&) = default;
};

/// The selected representation of one track, piece by piece. One thread reads; the rest is for any.
class TrackReader {
 public:
  virtual ~TrackReader() = default;
  /// Waits for the next piece, whose bytes may still be arriving. None when `gate` is closed. In a
  /// live presentation that does not go on the wait has no bound.
  virtual std::optional<TrackPiece> next(const ReadGate& gate) = 0;
  /// The piece that plays at `seconds` comes next.
  virtual void seek(double seconds) = 0;
  /// What the demuxer has found in a piece of the representation: a manifest that names no codecs
  /// does not tell.
  virtual void noteContent(const Representation&, PieceContent) {}
};

}  // namespace streaming
