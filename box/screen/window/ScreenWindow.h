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

/// The window and its renderer. While it is there the screen saver is off and the cursor hidden.
///
/// Threads: the screen's own. Lifetime: video must run, and `texts` outlive it.
class ScreenWindow {
 public:
  /// Null when it cannot be opened; `reason` then says why. `inMemory`: there is no display to
  /// fill.
  static std::unique_ptr<ScreenWindow> open(const ScreenOptions& options, bool inMemory,
                                            TextRenderer& texts, std::string& reason);
  ~ScreenWindow();
  ScreenWindow(const ScreenWindow&) = delete;
  ScreenWindow& operator=(const ScreenWindow&) = delete;

  SDL_Window* window() const { return _window.get(); }
  bool owns(const SDL_Event& event) const;
  /// From one refresh of the display to the next.
  platform::Duration refreshInterval() const { return _interval; }
  /// Whether presenting waits for the display.
  bool followsDisplay() const { return isAccelerated(_renderer.get()); }

  /// Draws and presents; returns whether the picture moves by itself. The pictures that are seen
  /// for the first time are in shown() until the next one.
  bool draw(const platform::Scene& scene, platform::TimePoint now);
  const std::vector<ShownPicture>& shown() const { return _shown; }
  /// The same, and the pixels of it; none when they cannot be read.
  PixelRows capture(const platform::Scene& scene, platform::TimePoint now);
  void forgetTextures() { _scenes->forgetTextures(); }

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
