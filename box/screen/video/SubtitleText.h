#pragma once

#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextRenderer.h"
#include "media/output/SubtitleCue.h"

namespace box {

struct SubtitlePicture {
  TexturePtr texture;  ///< null if there is nothing to draw
  // Rectangle of the texture within the text's area, including backgrounds and outlines.
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  // Logical height of the text and of a line.
  int textHeight = 0;
  int lineHeight = 0;
};

/// The area of a text, and its font size, in pixels.
struct SubtitleArea {
  int width = 0;
  int height = 0;    ///< excess text ends in an ellipsis
  double size = 0;   ///< default font size
  double frame = 0;  ///< the video's height, which outline widths depend on
};

/// Lays out and renders the text of `cue` in its style, with the fonts of the screen.
SubtitlePicture drawSubtitleText(SDL_Renderer* renderer, const TextRenderer& texts,
                                 const media::SubtitleCue& cue, const SubtitleArea& area);

}  // namespace box
