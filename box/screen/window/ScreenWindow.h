#pragma once

#include <memory>
#include <string>
#include <vector>

#include "box/screen/drawing/CairoTexture.h"
#include "box/screen/drawing/RendererChoice.h"
#include "box/screen/drawing/ScreenOptions.h"
#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextRenderer.h"
#include "box/screen/elements/SceneRenderer.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// The window and its renderer. While it exists, the screen saver is inhibited and the cursor
/// hidden. Thread: the screen's. The video subsystem must run, and `texts` must outlive this
/// object.
class ScreenWindow {
 public:
  /// Returns null and sets `reason` on failure. `inMemory`: there is no display.
  static std::unique_ptr<ScreenWindow> open(const ScreenOptions& options, bool inMemory,
                                            TextRenderer& texts, std::string& reason);
  ~ScreenWindow();
  ScreenWindow(const ScreenWindow&) = delete;
  ScreenWindow& operator=(const ScreenWindow&) = delete;

  SDL_Window* window() const { return _window.get(); }
  bool owns(const SDL_Event& event) const;
  platform::Duration refreshInterval() const { return _interval; }
  /// Whether present waits for vsync.
  bool followsDisplay() const { return isAccelerated(_renderer.get()); }

  /// Draws and presents. Returns whether the scene is animated. Afterwards shown() has the pictures
  /// that were presented for the first time.
  bool draw(const platform::Scene& scene, platform::TimePoint now);
  const std::vector<ShownPicture>& shown() const { return _shown; }
  /// Draws, presents and returns the pixels; empty if they cannot be read.
  PixelRows capture(const platform::Scene& scene, platform::TimePoint now);
  void releaseTextures() { _scenes->releaseTextures(); }

 private:
  ScreenWindow(WindowPtr window, RendererPtr renderer, TextRenderer& texts, AccessOptions access);
  void _present();
  bool _paint(const platform::Scene& scene, platform::TimePoint now);

  const WindowPtr _window;
  const RendererPtr _renderer;
  std::unique_ptr<SceneRenderer> _scenes;
  platform::Duration _interval{};
  std::vector<ShownPicture> _shown;
  int _width = 0;
  int _height = 0;
};

}  // namespace box
