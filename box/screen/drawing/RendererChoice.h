#pragma once

#include "box/screen/drawing/Sdl.h"

namespace box {

/// The renderer that is quickest for the window: the graphics processor's where there is one, which
/// then waits for the display, else SDL's own software renderer. A driver that only plays a
/// graphics processor is several times slower than that, takes long to load and much memory. What
/// SDL_RENDER_DRIVER names is taken as it is. Null when there is none.
RendererPtr makeRenderer(SDL_Window* window, bool inMemory);

bool isAccelerated(SDL_Renderer* renderer);

}  // namespace box
