#pragma once

#include "box/screen/Sdl.h"
#include "box/screen/Shapes.h"
#include "box/screen/TextRenderer.h"
#include "platform/ui/Geometry.h"

namespace box {

/// Draws texts, shapes and fills given in points of the scene onto a renderer's pixels: the scene
/// keeps its shape of 16 to 9 in the middle of whatever the renderer's size is.
///
/// Threads: the screen's own.
class Canvas {
 public:
  Canvas(SDL_Renderer* renderer, TextRenderer& texts, Shapes& shapes)
      : _renderer(renderer), _texts(texts), _shapes(shapes) {}

  /// The renderer's size in pixels.
  void setOutputSize(int width, int height);
  double scale() const { return _scale; }  ///< pixels a point
  SDL_Renderer* renderer() const { return _renderer; }
  int outputWidth() const { return _width; }
  int outputHeight() const { return _height; }

  /// With its edges on whole pixels.
  SDL_FRect pixels(const platform::Rect& rect) const;

  void fill(const platform::Rect& rect, platform::Color color, float alpha);
  void fillPixels(const SDL_FRect& rect, platform::Color color, float alpha);
  void shape(const Shape& shape, const platform::Rect& rect, float alpha);
  /// The part of the shape between two fractions of its width.
  void shapePart(const Shape& shape, const platform::Rect& rect, double from, double to,
                 float alpha);

  enum class Vertical { Top, Center, Bottom };
  /// The area is `rect`; it replaces the run's own width, and with `wraps` its height.
  void text(TextRun run, const platform::Rect& rect, bool wraps, Vertical vertical, float alpha);
  double textHeight(const TextRun& run) { return _texts.measureHeight(run, _scale); }

 private:
  SDL_Renderer* const _renderer;
  TextRenderer& _texts;
  Shapes& _shapes;
  int _width = 0;
  int _height = 0;
  double _scale = 1;
  double _left = 0;
  double _top = 0;
};

}  // namespace box
