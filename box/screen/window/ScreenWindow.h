#pragma once

#include <memory>
#include <vector>

#include "box/screen/drawing/CairoTexture.h"
#include "box/screen/drawing/RenderSurface.h"
#include "box/screen/drawing/ScreenOptions.h"
#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextRenderer.h"
#include "box/screen/elements/SceneRenderer.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// Draws scenes to a window. Thread: the screen's. `texts` must outlive this object.
class ScreenWindow {
 public:
  /// `surface` has a renderer.
  ScreenWindow(std::unique_ptr<RenderSurface> surface, TextRenderer& texts, AccessOptions access);
  ~ScreenWindow();
  ScreenWindow(const ScreenWindow&) = delete;
  ScreenWindow& operator=(const ScreenWindow&) = delete;

  RenderSurface& surface() const { return *_surface; }

  /// Draws and presents. Returns whether the scene is animated. Afterwards shown() has the pictures
  /// that were presented for the first time.
  bool draw(const platform::Scene& scene, platform::TimePoint now);
  const std::vector<ShownPicture>& shown() const { return _shown; }
  /// Draws, presents and returns the pixels; empty if they cannot be read.
  PixelRows capture(const platform::Scene& scene, platform::TimePoint now);
  void releaseTextures() { _scenes->releaseTextures(); }

 private:
  void _present();
  bool _paint(const platform::Scene& scene, platform::TimePoint now);

  const std::unique_ptr<RenderSurface> _surface;
  TextRenderer& _texts;
  const AccessOptions _access;
  std::unique_ptr<SceneRenderer> _scenes;
  std::vector<ShownPicture> _shown;
  int _width = 0;
  int _height = 0;
};

}  // namespace box
