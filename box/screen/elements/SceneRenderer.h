#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "box/screen/drawing/Blur.h"
#include "box/screen/drawing/Canvas.h"
#include "box/screen/drawing/Sdl.h"
#include "box/screen/video/FrameTexture.h"
#include "box/screen/video/JudderMeter.h"
#include "box/screen/video/Subtitles.h"
#include "media/output/VideoFrames.h"
#include "platform/ui/scene/Scene.h"

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
  SceneRenderer(SDL_Renderer* renderer, TextRenderer& texts, AccessOptions access = {});
  ~SceneRenderer();
  SceneRenderer(const SceneRenderer&) = delete;
  SceneRenderer& operator=(const SceneRenderer&) = delete;

  /// `width` and `height` are the renderer's, in pixels. Returns whether the next moment looks
  /// different although nothing new comes (an animation runs, a spinner turns).
  bool draw(const platform::Scene& scene, int width, int height, platform::TimePoint now);

  /// What draw() has painted is on screen: pictures that are shown for the first time hear of it,
  /// and are returned.
  std::vector<ShownPicture> didPresent();

  /// Everything that the renderer held is gone (the device was reset).
  void forgetTextures();

 private:
  struct Video {
    FrameTexture texture;
    std::uint64_t serial = 0;
    double time = -1;  // of the picture
    std::shared_ptr<const media::SubtitleCues> subtitles;
    bool used = false;
  };
  /// An element as it is drawn; two that are equal look the same, unless they move by themselves.
  struct Drawn {
    platform::Rect frame;
    float alpha = 1;
    platform::SceneElement element;
    std::uint64_t serial = 0;  // of its picture
    bool operator==(const Drawn&) const = default;
  };
  class Walk;

  Video& _video(const platform::VideoOutput& output);
  void _dropUnusedVideos();
  void _dropUnusedBlurs();

  SDL_Renderer* const _renderer;
  TextRenderer& _texts;
  Shapes _shapes;
  Canvas _canvas;
  std::map<const platform::VideoOutput*, Video> _videos;
  struct Fresh {
    std::shared_ptr<const media::VideoFrame> frame;
    ShownPicture picture;
  };
  std::vector<Fresh> _fresh;  // painted, not yet presented
  Blur _blur;
  std::optional<std::vector<Drawn>> _blurred;  // what is in it; none when that moves
  Blur _backdrop;                              // of a portrait picture
  std::pair<const void*, std::uint64_t> _backdropOf;
  Subtitles _subtitles;
};

/// The videos that a scene shows, those of layers too.
std::vector<std::shared_ptr<media::VideoFrames>> videosOf(const platform::Scene& scene);

}  // namespace box
