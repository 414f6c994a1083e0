#pragma once

#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/TextureCache.h"
#include "platform/ui/scene/Geometry.h"

namespace box {

enum class ShapeKind {
  RoundedRectangle,
  Outline,  ///< of a rounded rectangle, inside its edge
  Disc,
  Play,
  Pause,
  FastForward,
  Rewind,
  Check,
};

struct Shape {
  ShapeKind kind = ShapeKind::RoundedRectangle;
  platform::Color color;
  double radius = 0;  ///< of corners, in points
  double line = 0;    ///< of an outline, in points
};

/// Whole pixels, so that straight parts of the line are sharp.
int outlinePixels(const Shape& shape, double scale);

/// Draws vector shapes with Cairo at the size they are shown, and keeps the textures of what was
/// used last. Threads: the screen's own. clear() must come before the renderer's end.
class Shapes {
 public:
  Shapes();

  /// `width` and `height` are pixels, `scale` is pixels a point. Null when there is nothing to see.
  /// Good until the next call.
  SDL_Texture* texture(SDL_Renderer* renderer, const Shape& shape, int width, int height,
                       double scale);
  /// An opaque area of kTileWidth by kTileHeight pixels, in the format that a software renderer
  /// blends fastest under one opacity; null when the renderer refuses. Good until the next call.
  static constexpr int kTileWidth = 512;
  static constexpr int kTileHeight = 128;
  SDL_Texture* tile(SDL_Renderer* renderer, platform::Color color);
  void clear() { _cache.clear(); }

 private:
  TextureCache<TexturePtr> _cache;
};

}  // namespace box
