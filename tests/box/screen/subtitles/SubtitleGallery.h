#pragma once

#include <string>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace box::test {

/// A text with subtitles, and the time at which it is drawn.
struct SubtitleExample {
  const char* name;
  std::string text;
  double time = 1.5;
};

/// In the order of the sheets in docs/look/subtitles.
std::vector<SubtitleExample> webVTTExamples();
std::vector<SubtitleExample> ttmlExamples();
/// Documents of ASS and SSA.
std::vector<SubtitleExample> assExamples();

/// Bitmap subtitles, decoded, and the size of the picture below them.
struct BitmapExample {
  const char* name;
  media::SubtitleCue cue;
  int pictureWidth = 320;
  int pictureHeight = 180;
};
std::vector<BitmapExample> bitmapExamples();

}  // namespace box::test
