#pragma once

#include <string>

#include "box/screen/drawing/ScreenOptions.h"
#include "box/screen/drawing/Sdl.h"
#include "box/screen/drawing/Shapes.h"
#include "box/screen/drawing/TextRenderer.h"
#include "platform/ui/scene/Geometry.h"

namespace box {

/// Draws texts, shapes and fills given in points of the scene onto a renderer's pixels: the scene
/// keeps its shape of 16 to 9 in the middle of whatever the renderer's size is.
///
/// Threads: the screen's own.
class Canvas {
 public:
  Canvas(SDL_Renderer* renderer, TextRenderer& texts, Shapes& shapes, AccessOptions access = {});

  /// The renderer's size in pixels.
  void setOutputSize(int width, int height);
  double scale() const { return _scale; }  ///< pixels a point
  SDL_Renderer* renderer() const { return _renderer; }
  int outputWidth() const { return _width; }
  int outputHeight() const { return _height; }

  /// Text is drawn at this many times its usual size.
  double textSize() const { return _access.textSize; }
  /// The length of something that holds text and grows with it.
  double grown(double length) const { return length * _access.textSize; }
  bool reducedMotion() const { return _access.reducedMotion; }
  /// How far below its place a card of that opacity is, in points: it rises as it appears.
  double rise(float alpha) const;

  /// With its edges on whole pixels.
  SDL_FRect pixels(const platform::Rect& rect) const;

  void fill(const platform::Rect& rect, platform::Color color, float alpha);
  void fillPixels(const SDL_FRect& rect, platform::Color color, float alpha);
  void shape(const Shape& shape, const platform::Rect& rect, float alpha);
  /// Shades `rect` from the theme's scrim at its lower edge to the scrim under text, and from there
  /// to nothing over its upper part, `fade` high.
  void scrim(const platform::Rect& rect, double fade, float alpha);
  /// The part of the shape between two fractions of its width.
  void shapePart(const Shape& shape, const platform::Rect& rect, double from, double to,
                 float alpha);

  /// A piece of text in a style, at the user's size.
  TextRun styled(std::string text, platform::TextStyle style, platform::Color color,
                 platform::TextAlignment alignment = platform::TextAlignment::Leading) const;
  /// The run with that area, smaller than the user's size if it would not fit otherwise, but not
  /// below the usual size.
  TextRun fitted(TextRun run, const platform::Rect& rect, bool wraps);
  /// The run, narrower if that makes its lines equally long without another line.
  TextRun balanced(TextRun run);
  TextExtent measure(const TextRun& run) { return _texts.measure(run, _scale); }

  enum class Vertical { Top, Center, Bottom };
  /// The area is `rect`; it replaces the run's own width, and with `wraps` its height.
  void text(TextRun run, const platform::Rect& rect, bool wraps, Vertical vertical, float alpha);

 private:
  /// Where the processor blends, a plain fill takes it several times as long as a copy.
  bool _fillWithTiles(const SDL_FRect& rect, platform::Color color, Uint8 opacity);
  /// A large rounded shape from a small texture: its corners, and fills between them.
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
