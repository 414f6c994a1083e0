#pragma once

#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextRenderer.h"
#include "box/screen/video/SubtitleLines.h"
#include "media/output/SubtitleCue.h"

namespace box {

struct SubtitlePicture {
  TexturePtr texture;  ///< null if there is nothing to draw
  // Rectangle of the texture within the text's box, including backgrounds and outlines.
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  // The box: the length of the lines by the depth of all lines. Vertical text has its depth as the
  // width.
  int boxWidth = 0;
  int boxHeight = 0;
  int lineDepth = 0;
};

/// Lays out and renders the text of `cue` in its style, with the fonts of the screen.
SubtitlePicture drawSubtitleText(SDL_Renderer* renderer, const TextRenderer& texts,
                                 const media::SubtitleCue& cue, const SubtitleArea& area);

}  // namespace box
