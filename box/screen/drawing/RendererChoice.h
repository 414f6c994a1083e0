#pragma once

#include "box/screen/drawing/Sdl.h"

namespace box {

/// Creates the fastest renderer for the window: a GPU renderer with vsync if there is a GPU, else
/// SDL's software renderer. OpenGL implementations in software (llvmpipe) are not used, because
/// they are slower than SDL's renderer, load slowly and need much memory. A renderer in
/// SDL_RENDER_DRIVER is used as given. Returns null on failure, as on Wayland without a GPU.
RendererPtr makeRenderer(SDL_Window* window, bool inMemory);

/// Whether makeRenderer() tries a GPU: there is one, or SDL_RENDER_DRIVER names a renderer.
bool mayUseGPU();

bool isAccelerated(SDL_Renderer* renderer);

}  // namespace box
