#pragma once

#include <algorithm>
#include <cmath>
#include <memory>

#include <SDL.h>

namespace box {

struct SdlDeleter {
  void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
  void operator()(SDL_Renderer* renderer) const { SDL_DestroyRenderer(renderer); }
  void operator()(SDL_Texture* texture) const { SDL_DestroyTexture(texture); }
  void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
  void operator()(SDL_GameController* controller) const { SDL_GameControllerClose(controller); }
};

/// Owned SDL objects. Destroy a texture before its renderer, and a renderer before its window.
using WindowPtr = std::unique_ptr<SDL_Window, SdlDeleter>;
using RendererPtr = std::unique_ptr<SDL_Renderer, SdlDeleter>;
using TexturePtr = std::unique_ptr<SDL_Texture, SdlDeleter>;
using SurfacePtr = std::unique_ptr<SDL_Surface, SdlDeleter>;
using ControllerPtr = std::unique_ptr<SDL_GameController, SdlDeleter>;

/// Converts a colour component from 0..1 to 0..255.
inline Uint8 colorLevel(float value) {
  return static_cast<Uint8>(std::lround(std::clamp(value, 0.0F, 1.0F) * 255));
}

}  // namespace box
