#include "box/screen/window/ScreenWindow.h"

#include <utility>

namespace box {

ScreenWindow::ScreenWindow(std::unique_ptr<RenderSurface> surface, TextRenderer& texts,
                           AccessOptions access)
    : _surface(std::move(surface)),
      _texts(texts),
      _access(access),
      _scenes(std::make_unique<SceneRenderer>(_surface->renderer(), texts, access)) {}

ScreenWindow::~ScreenWindow() = default;

bool ScreenWindow::draw(const platform::Scene& scene, platform::TimePoint now) {
  const bool animated = _paint(scene, now);
  _present();
  return animated;
}

PixelRows ScreenWindow::capture(const platform::Scene& scene, platform::TimePoint now) {
  _paint(scene, now);
  PixelRows rows{{}, _width, _height, 4 * _width};
  rows.bytes.resize(static_cast<std::size_t>(rows.stride) * static_cast<std::size_t>(_height));
  // Read before present: afterwards the contents of the back buffer are undefined.
  const bool read = !rows.bytes.empty() &&
                    SDL_RenderReadPixels(_surface->renderer(), nullptr, SDL_PIXELFORMAT_ARGB8888,
                                         rows.bytes.data(), rows.stride) == 0;
  _present();
  return read ? std::move(rows) : PixelRows{};
}

void ScreenWindow::_present() {
  _surface->present();
  _shown = _scenes->didPresent();
}

bool ScreenWindow::_paint(const platform::Scene& scene, platform::TimePoint now) {
  if (_surface->isResized()) {
    _scenes.reset();
    _surface->replaceRenderer();
    _scenes = std::make_unique<SceneRenderer>(_surface->renderer(), _texts, _access);
  }
  if (SDL_GetRendererOutputSize(_surface->renderer(), &_width, &_height) != 0) _width = _height = 0;
  return _scenes->draw(scene, _width, _height, now);
}

}  // namespace box
