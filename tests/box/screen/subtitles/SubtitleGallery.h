#pragma once

#include <string>
#include <vector>

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

}  // namespace box::test
