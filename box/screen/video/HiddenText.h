#pragma once

#include <cstddef>
#include <vector>

#include "box/screen/drawing/TextLayout.h"
#include "media/output/SubtitleCue.h"

namespace box {

/// The parts of a cue's text that take their space but are not drawn.
class HiddenText {
 public:
  explicit HiddenText(const media::SubtitleCue& cue);

  bool contains(std::size_t at) const;
  /// Adds attributes for the hidden parts of a layout.
  void appendAttributes(PangoAttrList* list) const;
  /// Empties the glyphs of the hidden parts of a line.
  void eraseFrom(PangoLayoutLine* line) const;

 private:
  struct Part {
    std::size_t begin = 0;
    std::size_t end = 0;
  };
  std::vector<Part> _parts;
};

}  // namespace box
