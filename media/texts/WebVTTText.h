#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"
#include "media/output/SubtitleStyles.h"

namespace media {

/// Reads WebVTT, a whole text or one that comes in pieces (the segments of a stream): cues with
/// their settings, regions, and the looks of the style sheets before them.
///
/// What is broken is left out up to the next blank line, so that one bad cue costs one cue.
/// Bounded: cues, rules and regions.
class WebVTTReader {
 public:
  /// `text` ends with a whole cue. Times are as they are written.
  std::vector<SubtitleCue> read(std::string_view text);
  /// A cue without its times, as containers hold it that count those themselves; `isHeaded`: after
  /// a line with its name and one with its settings. Nothing where no text is in it.
  std::optional<SubtitleCue> readPiece(std::string_view piece, bool isHeaded) const;

 private:
  struct Region {
    std::string identifier;
    double width = 1;
    double lines = 3;
    double anchorX = 0;
    double anchorY = 1;
    double viewportX = 0;
    double viewportY = 1;
  };
  void _readBlock(std::string_view block, std::vector<SubtitleCue>& cues);
  void _readCue(std::string_view identifier, std::string_view block,
                std::vector<SubtitleCue>& cues) const;
  std::optional<SubtitleCue> _cueOf(std::string_view identifier, std::string_view settings,
                                    std::string_view text) const;
  void _readRegion(std::string_view settings);
  void _placeInRegion(std::string_view identifier, CueLayout& layout) const;
  void _readSettings(std::string_view settings, CueLayout& layout) const;

  SubtitleStyles _styles;
  std::vector<Region> _regions;
};

bool isWebVTT(std::string_view text);

/// SubRip: numbered blocks of times and lines, with the tags of cueOfMarkup(). Where it is none, no
/// cue comes of it.
std::vector<SubtitleCue> cuesOfSubRip(std::string_view text);

}  // namespace media
