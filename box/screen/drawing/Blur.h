#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <utility>

#include "box/screen/drawing/Sdl.h"
#include "platform/ui/scene/Geometry.h"

namespace box {

/// Blurs by drawing small: a picture is drawn at a quarter, halved a few times and grown again.
/// Works on every renderer that has render targets; elsewhere there is no blur.
///
/// Threads: the screen's own. Must go before its renderer.
class Blur {
 public:
  /// Lets `paint` draw what lies beneath, in the coordinates of the whole output (`width` by
  /// `height` pixels), and keeps it blurred and under `veil`. False when the renderer cannot.
  bool take(SDL_Renderer* renderer, int width, int height, platform::Color veil,
            const std::function<void()>& paint);
  /// Draws the part at `place` of what was taken for an output of that size onto the current
  /// target; that may be long ago, as long as the same lies beneath. False when nothing was.
  bool draw(SDL_Renderer* renderer, int width, int height, const SDL_FRect& place, float alpha);
  /// Whether something was taken for an output of that size.
  bool isOf(int width, int height) const { return _taken && width == _width && height == _height; }
  /// Since the last call.
  bool wasDrawn() { return std::exchange(_drawn, false); }
  void clear();

 private:
  static constexpr std::size_t kLevels = 5;
  bool _prepare(SDL_Renderer* renderer, int width, int height);

  std::array<TexturePtr, kLevels> _levels;  // each half as large as the one before
  int _width = 0;
  int _height = 0;
  bool _taken = false;
  bool _drawn = false;
};

}  // namespace box
