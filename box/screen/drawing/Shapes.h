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

/// The line width of an outline in whole pixels, so that straight lines are sharp.
int outlinePixels(const Shape& shape, double scale);

/// Draws vector shapes with Cairo at their display size, and caches the textures. Thread: the
/// screen's. Call clear() before the renderer is destroyed.
class Shapes {
 public:
  Shapes();

  /// Returns the texture, valid until the next call, or null if the size is empty. `width` and
  /// `height` are pixels, `scale` is pixels per point.
  SDL_Texture* texture(SDL_Renderer* renderer, const Shape& shape, int width, int height,
                       double scale);
  /// Returns an opaque texture of kTileWidth by kTileHeight pixels, in the format that the software
  /// renderer blends fastest. Valid until the next call; null on failure.
  static constexpr int kTileWidth = 512;
  static constexpr int kTileHeight = 128;
  SDL_Texture* tile(SDL_Renderer* renderer, platform::Color color);
  void clear() { _cache.clear(); }

 private:
  TextureCache<TexturePtr> _cache;
};

}  // namespace box
