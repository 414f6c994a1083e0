#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <utility>

#include "box/screen/drawing/Sdl.h"
#include "platform/ui/scene/Geometry.h"

namespace box {

/// Blurs by downscaling: the content is rendered at a quarter of its size, halved several times and
/// enlarged again. Needs a renderer with render targets; without them there is no blur. Thread: the
/// screen's. Must be destroyed before its renderer.
class Blur {
 public:
  /// Calls `paint` to draw the content in output coordinates (`width` by `height` pixels), and
  /// stores it blurred and darkened by `tint`. Returns false if the renderer does not support it.
  bool capture(SDL_Renderer* renderer, int width, int height, platform::Color tint,
               const std::function<void()>& paint);
  /// Draws the part at `place` of the stored content onto the current target. The content may be
  /// reused as long as it does not change. Returns false if there is none for this output size.
  bool draw(SDL_Renderer* renderer, int width, int height, const SDL_FRect& place, float alpha);
  bool hasContentFor(int width, int height) const {
    return _captured && width == _width && height == _height;
  }
  /// Whether draw() was called since the last wasDrawn().
  bool wasDrawn() { return std::exchange(_drawn, false); }
  void clear();

 private:
  static constexpr std::size_t kLevels = 5;
  bool _prepare(SDL_Renderer* renderer, int width, int height);

  std::array<TexturePtr, kLevels> _levels;  // each half the size of the one before
  int _width = 0;
  int _height = 0;
  bool _captured = false;
  bool _drawn = false;
};

}  // namespace box
