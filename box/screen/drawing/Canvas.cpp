#include "box/screen/drawing/Canvas.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "box/screen/drawing/Theme.h"

namespace box {
namespace {

/// Below this number of pixels a fill is faster than a tile lookup.
constexpr float kSmallestTiled = 1024;

bool isSoftware(SDL_Renderer* renderer) {
  SDL_RendererInfo info{};
  return SDL_GetRendererInfo(renderer, &info) == 0 && (info.flags & SDL_RENDERER_SOFTWARE) != 0;
}

/// Factor by which a text is reduced in each step until it fits.
constexpr double kFittingStep = 0.94;

/// Minimum width of balanced text as a fraction of its area, so that long words do not break.
constexpr double kNarrowestBalanced = 0.65;
constexpr int kBalancingSteps = 5;

}  // namespace

Canvas::Canvas(SDL_Renderer* renderer, TextRenderer& texts, Shapes& shapes, AccessOptions access)
    : _renderer(renderer),
      _texts(texts),
      _shapes(shapes),
      _access(access),
      _blendsTiles(isSoftware(renderer)) {}

void Canvas::setOutputSize(int width, int height) {
  _width = width;
  _height = height;
  _scale = std::min(width / platform::kScreenWidth, height / platform::kScreenHeight);
  _left = std::floor((width - platform::kScreenWidth * _scale) / 2);
  _top = std::floor((height - platform::kScreenHeight * _scale) / 2);
}

SDL_FRect Canvas::pixels(const platform::Rect& rect) const {
  const double left = std::round(rect.x * _scale);
  const double top = std::round(rect.y * _scale);
  const double right = std::round((rect.x + rect.width) * _scale);
  const double bottom = std::round((rect.y + rect.height) * _scale);
  return {static_cast<float>(_left + left), static_cast<float>(_top + top),
          static_cast<float>(right - left), static_cast<float>(bottom - top)};
}

void Canvas::fill(const platform::Rect& rect, platform::Color color, float alpha) {
  fillPixels(pixels(rect), color, alpha);
}

void Canvas::fillPixels(const SDL_FRect& rect, platform::Color color, float alpha) {
  const Uint8 opacity = colorLevel(color.alpha * alpha);
  if (opacity == 0 || rect.w <= 0 || rect.h <= 0) return;
  if (opacity != 255 && _blendsTiles && rect.w * rect.h >= kSmallestTiled &&
      _fillWithTiles(rect, color, opacity)) {
    return;
  }
  SDL_SetRenderDrawBlendMode(_renderer, opacity == 255 ? SDL_BLENDMODE_NONE : SDL_BLENDMODE_BLEND);
  SDL_SetRenderDrawColor(_renderer, colorLevel(color.red), colorLevel(color.green),
                         colorLevel(color.blue), opacity);
  SDL_RenderFillRectF(_renderer, &rect);
}

double Canvas::rise(float alpha) const {
  if (_access.reducedMotion) return 0;
  // Whole pixels, so that the size in pixels and therefore the cached texture stay the same.
  const double below = theme::kRise * (1 - static_cast<double>(std::clamp(alpha, 0.0F, 1.0F)));
  return std::round(below * _scale) / _scale;
}

bool Canvas::_fillWithTiles(const SDL_FRect& rect, platform::Color color, Uint8 opacity) {
  float scaleX = 1;
  float scaleY = 1;
  SDL_RenderGetScale(_renderer, &scaleX, &scaleY);
  const bool scales = scaleX < 1 || scaleX > 1 || scaleY < 1 || scaleY > 1;
  SDL_Texture* const tile = scales ? nullptr : _shapes.tile(_renderer, color);
  if (!tile) return false;
  SDL_SetTextureAlphaMod(tile, opacity);
  const int left = static_cast<int>(rect.x);
  const int top = static_cast<int>(rect.y);
  const int right = static_cast<int>(rect.x + rect.w);
  const int bottom = static_cast<int>(rect.y + rect.h);
  for (int y = top; y < bottom; y += Shapes::kTileHeight) {
    for (int x = left; x < right; x += Shapes::kTileWidth) {
      const SDL_Rect source{0, 0, std::min(Shapes::kTileWidth, right - x),
                            std::min(Shapes::kTileHeight, bottom - y)};
      const SDL_Rect target{x, y, source.w, source.h};
      SDL_RenderCopy(_renderer, tile, &source, &target);
    }
  }
  return true;
}

void Canvas::shape(const Shape& shape, const platform::Rect& rect, float alpha) {
  if (shape.kind == ShapeKind::RoundedRectangle || shape.kind == ShapeKind::Outline) {
    const SDL_FRect place = pixels(rect);
    const int corner = 1 + static_cast<int>(std::ceil(std::max(shape.radius, shape.line) * _scale));
    if (static_cast<int>(std::min(place.w, place.h)) > 2 * corner) {
      _roundedShape(shape, place, corner, alpha);
      return;
    }
  }
  shapePart(shape, rect, 0, 1, alpha);
}

void Canvas::_roundedShape(const Shape& shape, const SDL_FRect& place, int corner, float alpha) {
  const int side = 2 * corner;
  SDL_Texture* texture = _shapes.texture(_renderer, shape, side, side, _scale);
  if (!texture) return;
  SDL_SetTextureAlphaMod(texture, colorLevel(alpha));
  const auto length = static_cast<float>(corner);
  const float right = place.x + place.w - length;
  const float bottom = place.y + place.h - length;
  for (const int column : {0, corner}) {
    for (const int row : {0, corner}) {
      const SDL_Rect source{column, row, corner, corner};
      const SDL_FRect target{column ? right : place.x, row ? bottom : place.y, length, length};
      SDL_RenderCopyF(_renderer, texture, &source, &target);
    }
  }
  const float width = place.w - 2 * length;
  const float height = place.h - 2 * length;
  if (shape.kind == ShapeKind::Outline) {
    const auto line = static_cast<float>(outlinePixels(shape, _scale));
    fillPixels({place.x + length, place.y, width, line}, shape.color, alpha);
    fillPixels({place.x + length, place.y + place.h - line, width, line}, shape.color, alpha);
    fillPixels({place.x, place.y + length, line, height}, shape.color, alpha);
    fillPixels({place.x + place.w - line, place.y + length, line, height}, shape.color, alpha);
  } else {
    fillPixels({place.x + length, place.y, width, length}, shape.color, alpha);
    fillPixels({place.x, place.y + length, place.w, height}, shape.color, alpha);
    fillPixels({place.x + length, bottom, width, length}, shape.color, alpha);
  }
}

void Canvas::shapePart(const Shape& shape, const platform::Rect& rect, double from, double to,
                       float alpha) {
  const SDL_FRect place = pixels(rect);
  const int width = static_cast<int>(place.w);
  const int height = static_cast<int>(place.h);
  SDL_Texture* texture = _shapes.texture(_renderer, shape, width, height, _scale);
  const int left = static_cast<int>(std::lround(std::clamp(from, 0.0, 1.0) * width));
  const int right = static_cast<int>(std::lround(std::clamp(to, 0.0, 1.0) * width));
  if (!texture || left >= right) return;
  SDL_SetTextureAlphaMod(texture, colorLevel(alpha));
  const SDL_Rect source{left, 0, right - left, height};
  const SDL_FRect target{place.x + static_cast<float>(left), place.y,
                         static_cast<float>(right - left), place.h};
  SDL_RenderCopyF(_renderer, texture, &source, &target);
}

void Canvas::scrim(const platform::Rect& rect, double fade, float alpha) {
  const SDL_FRect place = pixels(rect);
  const double fading = fade * _scale;
  const auto height = static_cast<double>(place.h);
  constexpr auto kMiddle = static_cast<double>(theme::kScrimUnderText.alpha);
  constexpr auto kFull = static_cast<double>(theme::kScrim.alpha);
  // Eased, so that no edge is visible.
  const auto opacityOf = [&](int row) {
    const double y = row + 0.5;
    const double opacity =
        y < fading ? kMiddle * theme::eased(y / fading)
                   : kMiddle + (kFull - kMiddle) * theme::eased((y - fading) / (height - fading));
    return colorLevel(static_cast<float>(opacity) * alpha);
  };
  // Fill adjacent rows of the same opacity at once: a call costs more than the pixels of a row.
  const int rows = static_cast<int>(place.h);
  for (int first = 0; first < rows;) {
    const Uint8 opacity = opacityOf(first);
    int last = first + 1;
    while (last < rows && opacityOf(last) == opacity) ++last;
    platform::Color color = theme::kScrim;
    color.alpha = static_cast<float>(opacity) / 255;
    fillPixels(
        {place.x, place.y + static_cast<float>(first), place.w, static_cast<float>(last - first)},
        color, 1);
    first = last;
  }
}

TextRun Canvas::styled(std::string text, platform::TextStyle style, platform::Color color,
                       platform::TextAlignment alignment) const {
  const theme::TextLook look = theme::look(style);
  return {std::move(text), textScaled(look.size), look.bold, color, alignment, 0, 0};
}

TextRun Canvas::fitted(TextRun run, const platform::Rect& rect, bool wraps) {
  run.width = rect.width;
  run.height = wraps ? rect.height : 0;
  const double usual = run.size / _access.textSize;
  while (run.size > usual) {
    const TextExtent extent = measure(run);
    // A single line only needs room for its glyphs: some fonts have large line spacing.
    if (!extent.cut && (wraps ? extent.height : extent.inkHeight) <= rect.height) break;
    run.size = std::max(run.size * kFittingStep, usual);
  }
  return run;
}

TextRun Canvas::balanced(TextRun run) {
  const TextExtent whole = measure(run);
  if (whole.cut) return run;
  double narrowest = run.width * kNarrowestBalanced;
  for (int step = 0; step < kBalancingSteps; ++step) {
    TextRun narrower = run;
    narrower.width = (narrowest + run.width) / 2;
    const TextExtent extent = measure(narrower);
    if (extent.cut || extent.height > whole.height) {
      narrowest = narrower.width;
    } else {
      run.width = narrower.width;
    }
  }
  return run;
}

void Canvas::text(TextRun run, const platform::Rect& rect, bool wraps, Vertical vertical,
                  float alpha) {
  if (run.text.empty() || rect.width <= 0 || rect.height <= 0) return;
  run.width = rect.width;
  run.height = wraps ? rect.height : 0;
  const TextPicture& picture = _texts.picture(_renderer, run, _scale);
  if (!picture.texture) return;
  const SDL_FRect area = pixels(rect);
  const double space = static_cast<double>(area.h) - picture.lineHeight;
  const double offset = vertical == Vertical::Top      ? 0
                        : vertical == Vertical::Center ? space / 2
                                                       : space;
  const SDL_FRect target{area.x + static_cast<float>(picture.x),
                         area.y + static_cast<float>(std::round(offset) + picture.y),
                         static_cast<float>(picture.width), static_cast<float>(picture.height)};
  SDL_SetTextureAlphaMod(picture.texture.get(), colorLevel(alpha));
  SDL_RenderCopyF(_renderer, picture.texture.get(), nullptr, &target);
}

}  // namespace box
