#include "box/screen/Canvas.h"

#include <algorithm>
#include <cmath>

namespace box {
namespace {

Uint8 level(float value) {
  return static_cast<Uint8>(std::lround(std::clamp(value, 0.0F, 1.0F) * 255));
}

}  // namespace

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
  const Uint8 opacity = level(color.alpha * alpha);
  if (opacity == 0 || rect.w <= 0 || rect.h <= 0) return;
  SDL_SetRenderDrawBlendMode(_renderer, opacity == 255 ? SDL_BLENDMODE_NONE : SDL_BLENDMODE_BLEND);
  SDL_SetRenderDrawColor(_renderer, level(color.red), level(color.green), level(color.blue),
                         opacity);
  SDL_RenderFillRectF(_renderer, &rect);
}

void Canvas::shape(const Shape& shape, const platform::Rect& rect, float alpha) {
  shapePart(shape, rect, 0, 1, alpha);
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
  SDL_SetTextureAlphaMod(texture, level(alpha));
  const SDL_Rect source{left, 0, right - left, height};
  const SDL_FRect target{place.x + static_cast<float>(left), place.y,
                         static_cast<float>(right - left), place.h};
  SDL_RenderCopyF(_renderer, texture, &source, &target);
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
  SDL_SetTextureAlphaMod(picture.texture.get(), level(alpha));
  SDL_RenderCopyF(_renderer, picture.texture.get(), nullptr, &target);
}

}  // namespace box
