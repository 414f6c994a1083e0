#pragma once

#include <memory>
#include <vector>

#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextureCache.h"
#include "box/screen/video/SubtitleText.h"
#include "media/output/SubtitleCues.h"

namespace box {

struct SubtitleFrame {
  SDL_FRect area;     ///< available to the video and its subtitles
  SDL_FRect picture;  ///< covered by the picture
  /// Height at the lower edge of `area` that another element covers.
  float covered = 0;
  /// Text scale; 1 is the default.
  double textSize = 1;
};

/// Draws subtitle cues at their positions within the safe area, without overlaps. Cues without a
/// position are placed at the lower edge of the area, below the picture if there is room.
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
    int areaWidth = 0;
    SubtitlePicture text;
    std::vector<TexturePtr> images;  // of the cue, in its order
  };
  const Drawn& _drawn(SDL_Renderer* renderer, const std::shared_ptr<const media::SubtitleCue>& cue,
                      const std::shared_ptr<const media::SubtitleStyles>& styles,
                      const SubtitleFrame& frame);

  const TextRenderer& _texts;
  TextureCache<Drawn> _cache;
};

}  // namespace box
