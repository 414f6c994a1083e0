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

/// Draws scenes with the renderer of a window or of a surface in memory.
///
/// Workflow: draw() clears the renderer and draws the whole scene. The caller presents it and then
/// calls didPresent(). Textures of videos that the scene no longer shows are released.
///
/// Thread: the renderer's. Must be destroyed before the renderer. `texts` must outlive this object;
/// its textures are cleared by the destructor.
class SceneRenderer {
 public:
  SceneRenderer(SDL_Renderer* renderer, TextRenderer& texts, AccessOptions access = {});
  ~SceneRenderer();
  SceneRenderer(const SceneRenderer&) = delete;
  SceneRenderer& operator=(const SceneRenderer&) = delete;

  /// `width` and `height`: output size in pixels. Returns whether the scene is animated, so that
  /// the next frame differs even without changes.
  bool draw(const platform::Scene& scene, int width, int height, platform::TimePoint now);

  /// Call it after present. Notifies pictures that were shown for the first time, and returns them.
  std::vector<ShownPicture> didPresent();

  /// The renderer has lost its textures (device reset).
  void releaseTextures();

 private:
  struct Video {
    FrameTexture texture;
    std::uint64_t serial = 0;
    double time = -1;  // of the current picture
    std::shared_ptr<const media::SubtitleCues> subtitles;
    bool used = false;
  };
  /// State of a drawn element. Equal states look the same, except for animated elements.
  struct Drawn {
    platform::Rect frame;
    float alpha = 1;
    platform::SceneElement element;
    std::uint64_t serial = 0;  // of the current picture
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
  struct Unpresented {
    std::shared_ptr<const media::VideoFrame> frame;
    ShownPicture picture;
  };
  std::vector<Unpresented> _unpresented;  // drawn, not yet presented
  Blur _blur;
  std::optional<std::vector<Drawn>> _blurred;  // content of _blur; nothing if that is animated
  Blur _backdrop;                              // behind a portrait picture
  std::pair<const void*, std::uint64_t> _backdropOf;
  Subtitles _subtitles;
};

/// Returns the videos that the scene shows, including those of layers.
std::vector<std::shared_ptr<media::VideoFrames>> videosOf(const platform::Scene& scene);

}  // namespace box
