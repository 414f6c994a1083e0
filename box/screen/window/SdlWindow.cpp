#include "box/screen/window/SdlWindow.h"

#include <chrono>
#include <cmath>
#include <string_view>
#include <utility>

#include "box/screen/drawing/RendererChoice.h"

namespace box {
namespace {

constexpr int kDefaultRefreshRate = 60;

}  // namespace

std::unique_ptr<SdlWindow> SdlWindow::open(const ScreenOptions& options, platform::Size size,
                                           bool inMemory, std::string& reason) {
  Uint32 flags = SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI;
  // The dummy driver invents a display size.
  const bool fullscreen = options.fullscreen && !inMemory;
  // A renderer of OpenGL replaces the window. On Wayland the new one would not be fullscreen.
  const bool isWayland = SDL_GetCurrentVideoDriver() == std::string_view("wayland");
  if (fullscreen && !isWayland) flags |= SDL_WINDOW_FULLSCREEN_DESKTOP;
  WindowPtr window(SDL_CreateWindow(options.title.c_str(), SDL_WINDOWPOS_CENTERED,
                                    SDL_WINDOWPOS_CENTERED,
                                    static_cast<int>(std::lround(size.width)),
                                    static_cast<int>(std::lround(size.height)), flags));
  RendererPtr renderer = window ? makeRenderer(window.get(), inMemory) : nullptr;
  if (!renderer) {
    reason = SDL_GetError();
    return nullptr;
  }
  if (fullscreen && isWayland)
    SDL_SetWindowFullscreen(window.get(), static_cast<Uint32>(SDL_WINDOW_FULLSCREEN_DESKTOP));
  return std::unique_ptr<SdlWindow>(new SdlWindow(std::move(window), std::move(renderer)));
}

SdlWindow::SdlWindow(WindowPtr window, RendererPtr renderer)
    : _window(std::move(window)), _renderer(std::move(renderer)) {
  SDL_DisableScreenSaver();
  SDL_ShowCursor(SDL_DISABLE);
}

SdlWindow::~SdlWindow() {
  SDL_ShowCursor(SDL_ENABLE);
  SDL_EnableScreenSaver();
}

platform::Size SdlWindow::size() const {
  int width = 0;
  int height = 0;
  SDL_GetWindowSize(_window.get(), &width, &height);
  return {static_cast<double>(width), static_cast<double>(height)};
}

platform::Duration SdlWindow::refreshInterval() const {
  SDL_DisplayMode mode{};
  const bool known = SDL_GetWindowDisplayMode(_window.get(), &mode) == 0 && mode.refresh_rate > 0;
  return std::chrono::nanoseconds(std::chrono::seconds(1)) /
         (known ? mode.refresh_rate : kDefaultRefreshRate);
}

bool SdlWindow::followsDisplay() const { return isAccelerated(_renderer.get()); }

void SdlWindow::keepDisplayOn(bool keepsOn) {
  if (keepsOn) {
    SDL_DisableScreenSaver();
  } else {
    SDL_EnableScreenSaver();
  }
}

bool SdlWindow::owns(const SDL_Event& event) const {
  return event.type == SDL_WINDOWEVENT && event.window.windowID == SDL_GetWindowID(_window.get());
}

}  // namespace box
