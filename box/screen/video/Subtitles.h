#pragma once

#include <memory>
#include <vector>

#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextureCache.h"
#include "box/screen/video/SubtitleText.h"
#include "media/output/SubtitleCues.h"

namespace box {

/// Where a video lies, in pixels.
struct SubtitleFrame {
  SDL_FRect area;     ///< what the video may use
  SDL_FRect picture;  ///< the part of it that the picture takes
  /// How much of the lower edge of `area` is taken by something else.
  float covered = 0;
  /// Of text; 1 is the usual one.
  double textSize = 1;
};

/// Draws the cues that stand over a picture: each where it says, within the part of the area that
/// every television shows, and none over another. What says nothing stands at the lower edge of the
/// area, below the picture where there is room.
///
/// What a cue looks like is drawn once, and kept while the cue stands and somewhat longer.
///
/// Threads: the screen's own. Lifetime: clear() comes before the renderer's end.
class Subtitles {
 public:
  explicit Subtitles(const TextRenderer& texts);

  void draw(SDL_Renderer* renderer, const media::SubtitleCues::Cues& cues,
            const std::shared_ptr<const media::SubtitleStyles>& styles, const SubtitleFrame& frame,
            float alpha);
  void clear() { _cache.clear(); }
  std::size_t cachedCount() const { return _cache.size(); }

 private:
  struct Drawn {
    // Held, so that no other object comes to have their addresses.
    std::shared_ptr<const media::SubtitleCue> cue;
    std::shared_ptr<const media::SubtitleStyles> styles;
    media::CueLayout layout;
    int areaWidth = 0;
    SubtitlePicture text;
    std::vector<TexturePtr> images;  // of the cue's, in their order
  };
  const Drawn& _drawn(SDL_Renderer* renderer, const std::shared_ptr<const media::SubtitleCue>& cue,
                      const std::shared_ptr<const media::SubtitleStyles>& styles,
                      const SubtitleFrame& frame);

  const TextRenderer& _texts;
  TextureCache<Drawn> _cache;
};

}  // namespace box
