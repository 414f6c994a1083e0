#include "box/screen/drawing/RendererChoice.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace box {
namespace {

/// Checks for GPU devices without loading a driver. The device may still turn out unusable.
bool mayHaveGPU() {
  namespace fs = std::filesystem;
  std::error_code ignored;
  for (const char* device : {"/dev/nvidiactl", "/dev/mali0", "/dev/pvr_sync"}) {
    if (fs::exists(device, ignored)) return true;
  }
  fs::directory_iterator nodes("/dev/dri", ignored);
  return std::any_of(fs::begin(nodes), fs::end(nodes), [](const fs::directory_entry& node) {
    return node.path().filename().native().starts_with("renderD");
  });
}

bool isRendererConfigured() {
  const char* name = std::getenv("SDL_RENDER_DRIVER");
  return name && *name;
}

bool isSoftwareOpenGL(SDL_Renderer* renderer) {
  SDL_RendererInfo info{};
  if (SDL_GetRendererInfo(renderer, &info) != 0) return false;
  if (!std::string_view(info.name).starts_with("opengl")) return false;
  constexpr unsigned kRendererName = 0x1F01;  // GL_RENDERER
  using GetString = const unsigned char* (*)(unsigned);
  const auto getString = reinterpret_cast<GetString>(SDL_GL_GetProcAddress("glGetString"));
  const unsigned char* text = getString ? getString(kRendererName) : nullptr;
  if (!text) return false;
  const std::string_view name(reinterpret_cast<const char*>(text));
  constexpr std::array<std::string_view, 3> kSoftwareNames{"llvmpipe", "softpipe", "swrast"};
  return std::any_of(kSoftwareNames.begin(), kSoftwareNames.end(),
                     [&](std::string_view softwareName) {
                       return name.find(softwareName) != std::string_view::npos;
                     });
}

}  // namespace

RendererPtr makeRenderer(SDL_Window* window, bool inMemory) {
  const bool isConfigured = isRendererConfigured();
  if (!inMemory && mayUseGPU()) {
    RendererPtr renderer(
        SDL_CreateRenderer(window, -1, SDL_RENDERER_ACCELERATED | SDL_RENDERER_PRESENTVSYNC));
    // With vsync the software renderer would only sleep.
    if (renderer && !isAccelerated(renderer.get())) SDL_RenderSetVSync(renderer.get(), 0);
    if (renderer && (isConfigured || !isSoftwareOpenGL(renderer.get()))) return renderer;
  }
  RendererPtr software(SDL_CreateRenderer(window, -1, SDL_RENDERER_SOFTWARE));
  // SDL's KMS driver shows pictures of OpenGL only. For Wayland there is WaylandWindow.
  if (software || SDL_GetCurrentVideoDriver() != std::string_view("KMSDRM")) return software;
  return RendererPtr(
      SDL_CreateRenderer(window, -1, SDL_RENDERER_ACCELERATED | SDL_RENDERER_PRESENTVSYNC));
}

bool mayUseGPU() {
  if (!isRendererConfigured()) return mayHaveGPU();
  return std::getenv("SDL_RENDER_DRIVER") != std::string_view("software");
}

bool isAccelerated(SDL_Renderer* renderer) {
  SDL_RendererInfo info{};
  return SDL_GetRendererInfo(renderer, &info) == 0 && (info.flags & SDL_RENDERER_ACCELERATED) != 0;
}

}  // namespace box
