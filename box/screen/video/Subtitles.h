#pragma once

#include <memory>
#include <vector>

#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextureCache.h"
#include "box/screen/video/SubtitlePlacement.h"
#include "media/output/SubtitleCues.h"

namespace box {

/// Draws subtitle cues at their positions within the safe area, without overlaps. Cues without a
/// position are placed at the lower edge of the area, below the picture if there is room. Cues of a
/// region are stacked in it.
///
/// Rendered cues are cached while they are shown and for some time after.
///
/// Thread: the screen's. Call clear() before the renderer is destroyed.
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
    // Kept alive, because cache keys contain their addresses.
    std::shared_ptr<const media::SubtitleCue> cue;
    std::shared_ptr<const media::SubtitleStyles> styles;
    media::CueLayout layout;
    SubtitlePicture text;
    std::vector<TexturePtr> images;  // of the cue, in its order
  };
  using DrawnPtr = std::shared_ptr<const Drawn>;
  DrawnPtr _drawn(SDL_Renderer* renderer, const std::shared_ptr<const media::SubtitleCue>& cue,
                  const std::shared_ptr<const media::SubtitleStyles>& styles,
                  const SubtitleFrame& frame);
  static SubtitleArea _areaOf(const media::CueLayout& layout, const SubtitleFrame& frame);
  static void _drawText(SDL_Renderer* renderer, const Drawn& drawn, const SDL_FRect& box,
                        float alpha);
  static void _drawRegion(SDL_Renderer* renderer, const std::vector<DrawnPtr>& group,
                          const SubtitleFrame& frame, float alpha, SubtitlePlacement& placement);

  const TextRenderer& _texts;
  TextureCache<DrawnPtr> _cache;
};

}  // namespace box
