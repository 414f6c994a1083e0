#pragma once

#include <array>
#include <cstddef>
#include <functional>

#include "box/screen/Sdl.h"
#include "platform/ui/Geometry.h"

namespace box {

/// Blurs by drawing small: a picture is drawn at a quarter, halved a few times and grown again.
/// Works on every renderer that has render targets; elsewhere there is no blur.
///
/// Threads: the screen's own. Must go before its renderer.
class Blur {
 public:
  /// Lets `paint` draw what lies beneath, in the coordinates of the whole output (`width` by
  /// `height` pixels), and draws the part of it at `place`, blurred and under `veil`, onto the
  /// current target. False when the renderer cannot.
  bool draw(SDL_Renderer* renderer, int width, int height, const SDL_FRect& place,
            platform::Color veil, float alpha, const std::function<void()>& paint);
  void clear();

 private:
  static constexpr std::size_t kLevels = 5;
  bool _prepare(SDL_Renderer* renderer, int width, int height);

  std::array<TexturePtr, kLevels> _levels;  // each half as large as the one before
  int _width = 0;
  int _height = 0;
};

}  // namespace box
