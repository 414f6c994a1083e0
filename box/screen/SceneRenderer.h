#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "box/media/VideoFrames.h"
#include "box/screen/Blur.h"
#include "box/screen/Canvas.h"
#include "box/screen/FrameTexture.h"
#include "box/screen/Sdl.h"
#include "platform/ui/Scene.h"

namespace box {

/// Draws scenes onto a renderer, of a window or of a surface in memory.
///
/// Workflow: draw() clears the renderer and paints the whole scene; presenting is the caller's, who
/// then calls didPresent().
/// Textures of videos that a scene no longer shows are dropped.
///
/// Threads: the renderer's own. Lifetime: must go before the renderer; `texts` outlives it, and is
/// left without textures.
class SceneRenderer {
 public:
  SceneRenderer(SDL_Renderer* renderer, TextRenderer& texts);
  ~SceneRenderer();
  SceneRenderer(const SceneRenderer&) = delete;
  SceneRenderer& operator=(const SceneRenderer&) = delete;

  /// `width` and `height` are the renderer's, in pixels. Returns whether the next moment looks
  /// different although nothing new comes (an animation runs, a spinner turns).
  bool draw(const platform::Scene& scene, int width, int height, platform::TimePoint now);

  /// What draw() has painted is on screen: pictures that are shown for the first time hear of it.
  void didPresent();

  /// Everything that the renderer held is gone (the device was reset).
  void forgetTextures();

 private:
  struct Video {
    FrameTexture texture;
    std::uint64_t serial = 0;
    double time = -1;  // of the picture
    std::shared_ptr<const SubtitleCues> subtitles;
    bool used = false;

    std::string subtitle() const {
      return subtitles && time >= 0 ? subtitles->textAt(time) : std::string();
    }
  };
  class Walk;

  Video& _video(const platform::VideoOutput& output);
  void _dropUnusedVideos();

  SDL_Renderer* const _renderer;
  TextRenderer& _texts;
  Shapes _shapes;
  Canvas _canvas;
  std::map<const platform::VideoOutput*, Video> _videos;
  std::vector<std::shared_ptr<const VideoFrame>> _fresh;  // painted, not yet presented
  Blur _blur;
};

/// The videos that a scene shows, those of layers too.
std::vector<std::shared_ptr<VideoFrames>> videosOf(const platform::Scene& scene);

}  // namespace box
