#pragma once

#include <memory>
#include <string>

#include "box/screen/drawing/RenderSurface.h"
#include "box/screen/drawing/ScreenOptions.h"

namespace box {

/// A window of SDL's current video driver. While it exists, the screen saver is inhibited and the
/// cursor hidden. Thread: the screen's.
class SdlWindow final : public RenderSurface {
 public:
  /// Returns null and sets `reason` on failure. `inMemory`: there is no display.
  static std::unique_ptr<SdlWindow> open(const ScreenOptions& options, platform::Size size,
                                         bool inMemory, std::string& reason);
  ~SdlWindow() override;

  SDL_Renderer* renderer() const override { return _renderer.get(); }
  void present() override { SDL_RenderPresent(_renderer.get()); }
  platform::Size size() const override;
  platform::Duration refreshInterval() const override;
  bool followsDisplay() const override;
  void keepDisplayOn(bool keepsOn) override;
  bool owns(const SDL_Event& event) const override;

 private:
  SdlWindow(WindowPtr window, RendererPtr renderer);

  const WindowPtr _window;
  const RendererPtr _renderer;
};

}  // namespace box
