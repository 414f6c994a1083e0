#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"
#include "media/texts/WebVTTText.h"
#include "streaming/playback/TrackReader.h"

namespace media {

class TimestampOffsets;

/// Reads the pieces of a text track: whole files or segments of WebVTT, TTML and SubRip, and
/// samples of fragmented MP4.
///
/// Limits: the bytes of a piece, and the number of waiting pieces.
/// Threads: one at a time.
class TextSegments {
 public:
  explicit TextSegments(std::shared_ptr<TimestampOffsets> offsets);

  /// Returns the cues of a complete piece with presentation times. If the offset of its time stamps
  /// is not known before audio or video was read, the result is empty. The cues are then returned
  /// by a later call.
  std::vector<SubtitleCue> read(const streaming::TrackPiece& piece);

 private:
  struct Document {
    std::vector<SubtitleCue> cues;  // with media times
    double shift = 0;               // of X-TIMESTAMP-MAP
    bool isMapped = false;          // there is a map; its time stamps wrap around
  };
  std::optional<std::vector<SubtitleCue>> _read(const streaming::TrackPiece& piece);
  Document _documentOf(const streaming::TrackPiece& piece, std::string_view bytes);
  std::optional<double> _offsetFor(const streaming::TrackPiece& piece) const;
  std::vector<SubtitleCue> _readSamples(const streaming::TrackPiece& piece);

  const std::shared_ptr<TimestampOffsets> _offsets;
  const int _track;
  std::deque<streaming::TrackPiece> _waiting;
  std::string _representation;  // of the styles and regions in `_reader`
  WebVTTReader _reader;
};

}  // namespace media
