#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"
#include "media/output/SubtitleStyles.h"

namespace media {

/// Reads WebVTT, as a whole text or in segments: cues with settings, regions and style sheets.
///
/// A broken block is skipped up to the next blank line. The numbers of cues, rules and regions are
/// limited.
class WebVTTReader {
 public:
  /// `text` has to end after a whole cue. The times of the cues are not changed.
  std::vector<SubtitleCue> read(std::string_view text);
  /// Reads a cue whose times are in the container. `isHeaded`: a line with the identifier and a
  /// line with the settings come first. Returns nullopt if there is no text.
  std::optional<SubtitleCue> readPayload(std::string_view payload, bool isHeaded) const;

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

/// Reads SubRip: numbered blocks with a line of times and lines of text, with the tags of
/// cueOfMarkup(). Returns no cue for any other format.
std::vector<SubtitleCue> cuesOfSubRip(std::string_view text);

}  // namespace media
