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

/// Reads the pieces of a text track: whole files or segments of WebVTT, TTML and SubRip, and the
/// samples of fragmented mp4.
///
/// Bounded: the bytes of a piece, and pieces that wait. Threads: one.
class TextSegments {
 public:
  explicit TextSegments(std::shared_ptr<TimestampOffsets> offsets);

  /// The cues of a piece, all of whose bytes are there, on the time line of the presentation.
  /// A piece whose place depends on the time stamps of picture or sound, before any of these has
  /// come, gives nothing; its cues come with those of a later one.
  std::vector<SubtitleCue> read(const streaming::TrackPiece& piece);

 private:
  struct Document {
    std::vector<SubtitleCue> cues;  // with times as the media have them
    double shift = 0;               // that a map in it adds
    bool isMapped = false;          // its time stamps wrap around
  };
  std::optional<std::vector<SubtitleCue>> _read(const streaming::TrackPiece& piece);
  Document _documentOf(const streaming::TrackPiece& piece, std::string_view bytes);
  std::optional<double> _offsetFor(const streaming::TrackPiece& piece) const;
  std::vector<SubtitleCue> _readSamples(const streaming::TrackPiece& piece);

  const std::shared_ptr<TimestampOffsets> _offsets;
  const int _track;
  std::deque<streaming::TrackPiece> _waiting;
  std::string _representation;  // whose styles and regions the reader has
  WebVTTReader _reader;
};

}  // namespace media
