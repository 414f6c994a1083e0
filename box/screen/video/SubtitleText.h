#pragma once

#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextRenderer.h"
#include "media/output/SubtitleCue.h"

namespace box {

/// A subtitle's text as pixels.
struct SubtitlePicture {
  TexturePtr texture;  ///< null when there is nothing to see
  // Where the texture lies within the text's area, and its size; backgrounds and edges included.
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  // Of the lines, whatever their letters look like.
  int textHeight = 0;
  int lineHeight = 0;
};

/// The area that a text is set in, and the size of its letters, in pixels.
struct SubtitleArea {
  int width = 0;
  int height = 0;    ///< what goes beyond ends in an ellipsis
  double size = 0;   ///< of the font, where the cue says nothing
  double frame = 0;  ///< the video's height, which edges go by
};

/// Sets and draws the text of `cue` in its own looks, in the screen's fonts.
SubtitlePicture drawSubtitleText(SDL_Renderer* renderer, const TextRenderer& texts,
                                 const media::SubtitleCue& cue, const SubtitleArea& area);

}  // namespace box
