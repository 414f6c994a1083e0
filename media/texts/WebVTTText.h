#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"
#include "media/output/SubtitleStyles.h"
#include "media/texts/CueList.h"

namespace media {

/// Reads WebVTT, as a whole text or in segments: cues with settings, regions and style sheets.
///
/// Blocks, times and settings are parsed as the standard says, so a broken block or setting is
/// ignored. Differences: a "<" that does not begin a tag is text, and a cue that does not end after
/// it starts is dropped. The numbers of cues, rules and regions are limited.
class WebVTTReader {
 public:
  /// `text` has to end after a whole cue. The times of the cues are not changed.
  std::vector<SubtitleCue> read(std::string_view text);
  /// Time stamps in the text of a cue are in the time of the track, or relative to the cue. Some
  /// files whose time stamps should be relative have others.
  enum class TimeStamps { OfTrack, OfCue };
  /// Reads a cue whose times are in the container, in seconds: a line with the identifier, a line
  /// with the settings, and the text. Returns nullopt if there is no text.
  std::optional<SubtitleCue> readPayload(std::string_view payload, double start, double duration,
                                         TimeStamps timeStamps) const;

 private:
  struct Region {
    std::string identifier;
    double width = 1;
    double lines = 3;
    double anchorX = 0;
    double anchorY = 1;
    double viewportX = 0;
    double viewportY = 1;
    bool scrolls = false;
  };
  void _readHeadBlock(std::string_view name, std::string_view content);
  std::optional<SubtitleCue> _cueOf(std::string_view identifier, std::string_view settings,
                                    std::string_view text, double origin) const;
  void _readRegion(std::string_view settings);
  const Region* _regionNamed(std::string_view identifier) const;
  void _readSettings(std::string_view settings, SubtitleCue& cue) const;

  SubtitleStyles _styles;
  std::vector<Region> _regions;
};

bool isWebVTT(std::string_view text);

/// Reads SubRip: numbered blocks with a line of times and lines of text, with the tags of
/// cueOfMarkup(). Returns no cue for any other format.
std::vector<SubtitleCue> cuesOfSubRip(std::string_view text);

}  // namespace media
