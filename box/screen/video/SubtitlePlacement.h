#pragma once

#include <vector>

#include "box/screen/drawing/Sdl.h"
#include "box/screen/video/SubtitleText.h"
#include "media/output/SubtitleCue.h"

namespace box {

struct SubtitleFrame {
  SDL_FRect area;     ///< available to the video and its subtitles
  SDL_FRect picture;  ///< covered by the picture
  /// Height at the lower edge of `area` that another element covers.
  float covered = 0;
  /// Text scale; 1 is the default.
  double textSize = 1;
  double time = 0;  ///< of the picture, in seconds
};

/// Whether the cue is placed at the edge of the last line: texts are stacked from there.
bool isAtLastLine(const media::CueLayout& layout);

/// Places texts without overlaps. A text that overlaps another one moves away from its edge, or in
/// the other direction if there is no space.
class SubtitlePlacement {
 public:
  /// The heights are those of all lines at the upper and at the lower edge.
  SubtitlePlacement(const SubtitleFrame& frame, float heightAtTop, float heightAtBottom);

  /// Returns the place of the text's box.
  SDL_FRect place(const media::CueLayout& layout, const SubtitlePicture& text);
  /// Keeps later texts away from a text that was placed elsewhere.
  void reserve(const SDL_FRect& rect) { _occupied.push_back(rect); }

 private:
  struct Axis {
    float SDL_FRect::*position;
    float SDL_FRect::*size;
    float first;
    float last;
  };
  SDL_FRect _placeVertical(const media::CueLayout& layout, const SubtitlePicture& text);
  float _topOf(const media::CueLayout& layout, const SubtitlePicture& text) const;
  float _leftOf(const media::CueLayout& layout, const SubtitlePicture& text) const;
  bool _moveAway(SDL_FRect& rect, const Axis& axis, bool forwards) const;
  void _avoidOverlaps(SDL_FRect& rect, const Axis& axis, bool forwards) const;

  const SubtitleFrame& _frame;
  float _left, _right, _top, _bottom;
  std::vector<SDL_FRect> _occupied;
};

}  // namespace box
