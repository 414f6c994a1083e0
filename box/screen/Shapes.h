#pragma once

#include "box/screen/Sdl.h"
#include "box/screen/TextureCache.h"
#include "platform/ui/Geometry.h"

namespace box {

enum class ShapeKind {
  RoundedRectangle,
  Outline,  ///< of a rounded rectangle, inside its edge
  Disc,
  Play,
  Pause,
  Stop,
  FastForward,
  Rewind,
  Scrim,  ///< from nothing at the upper edge to the full colour at the lower
};

struct Shape {
  ShapeKind kind = ShapeKind::RoundedRectangle;
  platform::Color color;
  double radius = 0;  ///< of corners, in points
  double line = 0;    ///< of an outline, in points
};

/// Draws vector shapes with Cairo at the size they are shown, and keeps the textures of what was
/// used last. Threads: the screen's own. clear() must come before the renderer's end.
class Shapes {
 public:
  Shapes();

  /// `width` and `height` are pixels, `scale` is pixels a point. Null when there is nothing to see.
  /// Good until the next call.
  SDL_Texture* texture(SDL_Renderer* renderer, const Shape& shape, int width, int height,
                       double scale);
  void clear() { _cache.clear(); }

 private:
  TextureCache<TexturePtr> _cache;
};

}  // namespace box
