#include "box/screen/window/ScreenWindow.h"

#include <chrono>
#include <cmath>
#include <utility>

namespace box {
namespace {

constexpr platform::Size kWindowSize{1280, 720};
constexpr platform::Size kMemorySize{platform::kScreenWidth, platform::kScreenHeight};
constexpr int kDefaultRefreshRate = 60;

WindowPtr makeWindow(const ScreenOptions& options, bool inMemory) {
  const platform::Size size = options.windowedSize.value_or(inMemory ? kMemorySize : kWindowSize);
  Uint32 flags = SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI;
  // The dummy driver invents a display size.
  if (options.fullscreen && !inMemory) flags |= SDL_WINDOW_FULLSCREEN_DESKTOP;
  return WindowPtr(SDL_CreateWindow(options.title.c_str(), SDL_WINDOWPOS_CENTERED,
                                    SDL_WINDOWPOS_CENTERED,
                                    static_cast<int>(std::lround(size.width)),
                                    static_cast<int>(std::lround(size.height)), flags));
}

platform::Duration refreshInterval(SDL_Window* window) {
  SDL_DisplayMode mode{};
  const bool known = SDL_GetWindowDisplayMode(window, &mode) == 0 && mode.refresh_rate > 0;
  return std::chrono::nanoseconds(std::chrono::seconds(1)) /
         (known ? mode.refresh_rate : kDefaultRefreshRate);
}

}  // namespace

std::unique_ptr<ScreenWindow> ScreenWindow::open(const ScreenOptions& options, bool inMemory,
                                                 TextRenderer& texts, std::string& reason) {
  WindowPtr window = makeWindow(options, inMemory);
  RendererPtr renderer = window ? makeRenderer(window.get(), inMemory) : nullptr;
  if (!renderer) {
    reason = SDL_GetError();
    return nullptr;
  }
  return std::unique_ptr<ScreenWindow>(
      new ScreenWindow(std::move(window), std::move(renderer), texts, options.access));
}

ScreenWindow::ScreenWindow(WindowPtr window, RendererPtr renderer, TextRenderer& texts,
                           AccessOptions access)
    : _window(std::move(window)),
      _renderer(std::move(renderer)),
      _scenes(std::make_unique<SceneRenderer>(_renderer.get(), texts, access)),
      _interval(box::refreshInterval(_window.get())) {
  SDL_DisableScreenSaver();
  SDL_ShowCursor(SDL_DISABLE);
}

ScreenWindow::~ScreenWindow() {
  SDL_ShowCursor(SDL_ENABLE);
  SDL_EnableScreenSaver();
}

bool ScreenWindow::owns(const SDL_Event& event) const {
  return event.type == SDL_WINDOWEVENT && event.window.windowID == SDL_GetWindowID(_window.get());
}

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
                    SDL_RenderReadPixels(_renderer.get(), nullptr, SDL_PIXELFORMAT_ARGB8888,
                                         rows.bytes.data(), rows.stride) == 0;
  _present();
  return read ? std::move(rows) : PixelRows{};
}

void ScreenWindow::_present() {
  SDL_RenderPresent(_renderer.get());
  _shown = _scenes->didPresent();
}

bool ScreenWindow::_paint(const platform::Scene& scene, platform::TimePoint now) {
  if (SDL_GetRendererOutputSize(_renderer.get(), &_width, &_height) != 0) _width = _height = 0;
  return _scenes->draw(scene, _width, _height, now);
}

}  // namespace box
