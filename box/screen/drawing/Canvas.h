#pragma once

#include <string>

#include "box/screen/drawing/ScreenOptions.h"
#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/Shapes.h"
#include "box/screen/drawing/TextRenderer.h"
#include "platform/ui/scene/Geometry.h"

namespace box {

/// Draws texts, shapes and fills onto a renderer. Coordinates are points of the 16:9 scene, which
/// is scaled to the output size and centered. Thread: the screen's.
class Canvas {
 public:
  Canvas(SDL_Renderer* renderer, TextRenderer& texts, Shapes& shapes, AccessOptions access = {});

  void setOutputSize(int width, int height);
  double scale() const { return _scale; }  ///< pixels per point
  SDL_Renderer* renderer() const { return _renderer; }
  int outputWidth() const { return _width; }
  int outputHeight() const { return _height; }

  double textSize() const { return _access.textSize; }
  /// Scales the length of an element that holds text.
  double textScaled(double length) const { return length * _access.textSize; }
  bool reducedMotion() const { return _access.reducedMotion; }
  /// Vertical offset in points of a card that fades in with opacity `alpha`: it rises to its place.
  double rise(float alpha) const;

  /// Converts to pixels. Edges are rounded to whole pixels.
  SDL_FRect pixels(const platform::Rect& rect) const;

  void fill(const platform::Rect& rect, platform::Color color, float alpha);
  void fillPixels(const SDL_FRect& rect, platform::Color color, float alpha);
  void shape(const Shape& shape, const platform::Rect& rect, float alpha);
  /// Draws a gradient. From the lower edge upwards the opacity falls from the theme's scrim to the
  /// scrim under text, and then to zero in the upper part, which is `fade` high.
  void scrim(const platform::Rect& rect, double fade, float alpha);
  /// Draws the part of the shape between two fractions of its width.
  void shapePart(const Shape& shape, const platform::Rect& rect, double from, double to,
                 float alpha);

  TextRun styled(std::string text, platform::TextStyle style, platform::Color color,
                 platform::TextAlignment alignment = platform::TextAlignment::Leading) const;
  /// Returns the run for that area. If it does not fit, its size is reduced, but not below the
  /// unscaled size.
  TextRun fitted(TextRun run, const platform::Rect& rect, bool wraps);
  /// Returns the run with a smaller width if that makes its lines equally long without adding
  /// lines.
  TextRun balanced(TextRun run);
  TextExtent measure(const TextRun& run) { return _texts.measure(run, _scale); }

  enum class Vertical { Top, Center, Bottom };
  /// Draws text in `rect`, which overrides the width of the run and, with `wraps`, its height.
  void text(TextRun run, const platform::Rect& rect, bool wraps, Vertical vertical, float alpha);

 private:
  /// Software renderers fill with alpha several times slower than they copy a texture.
  bool _fillWithTiles(const SDL_FRect& rect, platform::Color color, Uint8 opacity);
  /// Draws a large rounded shape with a small texture for the corners, and fills.
  void _roundedShape(const Shape& shape, const SDL_FRect& place, int corner, float alpha);

  SDL_Renderer* const _renderer;
  TextRenderer& _texts;
  Shapes& _shapes;
  const AccessOptions _access;
  const bool _blendsTiles;
  int _width = 0;
  int _height = 0;
  double _scale = 1;
  double _left = 0;
  double _top = 0;
};

}  // namespace box
