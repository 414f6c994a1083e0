#include "box/screen/drawing/Shapes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "box/screen/drawing/CairoTexture.h"

namespace box {
namespace {

constexpr std::size_t kCachedShapes = 64;
constexpr std::size_t kCachedShapePixels = std::size_t{6} * 1024 * 1024;

void roundedPath(cairo_t* cairo, double inset, double width, double height, double radius) {
  using std::numbers::pi;
  const double left = inset;
  const double top = inset;
  const double right = width - inset;
  const double bottom = height - inset;
  const double r = std::clamp(radius - inset, 0.0, std::min(right - left, bottom - top) / 2);
  cairo_new_path(cairo);
  cairo_arc(cairo, right - r, top + r, r, -pi / 2, 0);
  cairo_arc(cairo, right - r, bottom - r, r, 0, pi / 2);
  cairo_arc(cairo, left + r, bottom - r, r, pi / 2, pi);
  cairo_arc(cairo, left + r, top + r, r, pi, 3 * pi / 2);
  cairo_close_path(cairo);
}

/// A triangle from column `base` to `tip`. The line joins round its corners.
void triangle(cairo_t* cairo, double base, double tip, double height) {
  const double round = height * 0.08;
  const double inset = base < tip ? round : -round;
  cairo_move_to(cairo, base + inset, round);
  cairo_line_to(cairo, tip - inset, height / 2);
  cairo_line_to(cairo, base + inset, height - round);
  cairo_close_path(cairo);
  cairo_set_line_join(cairo, CAIRO_LINE_JOIN_ROUND);
  cairo_set_line_width(cairo, 2 * round);
  cairo_stroke_preserve(cairo);
  cairo_fill(cairo);
}

void draw(const CairoPicture& picture, const Shape& shape, double width, double height,
          double scale) {
  cairo_t* cairo = picture.context();
  // Draw opaque and apply the alpha at the end, so that overlaps of stroke and fill are not
  // visible.
  platform::Color ink = shape.color;
  ink.alpha = 1;
  picture.setColor(ink);
  cairo_push_group(cairo);
  picture.setColor(ink);
  switch (shape.kind) {
    case ShapeKind::RoundedRectangle:
      roundedPath(cairo, 0, width, height, shape.radius * scale);
      cairo_fill(cairo);
      break;
    case ShapeKind::Outline: {
      const double line = outlinePixels(shape, scale);
      roundedPath(cairo, line / 2, width, height, shape.radius * scale);
      cairo_set_line_width(cairo, line);
      cairo_stroke(cairo);
      break;
    }
    case ShapeKind::Disc:
      roundedPath(cairo, 0, width, height, std::max(width, height));
      cairo_fill(cairo);
      break;
    case ShapeKind::Play:
      triangle(cairo, width * 0.12, width * 0.96, height);
      break;
    case ShapeKind::Pause:
      for (const double left : {0.14, 0.58}) {
        cairo_save(cairo);
        cairo_translate(cairo, width * left, height * 0.04);
        roundedPath(cairo, 0, width * 0.28, height * 0.92, width * 0.07);
        cairo_restore(cairo);
        cairo_fill(cairo);
      }
      break;
    case ShapeKind::FastForward:
      cairo_translate(cairo, 0, height * 0.12);
      triangle(cairo, 0, width * 0.53, height * 0.76);
      triangle(cairo, width * 0.47, width, height * 0.76);
      break;
    case ShapeKind::Rewind:
      cairo_translate(cairo, 0, height * 0.12);
      triangle(cairo, width * 0.53, 0, height * 0.76);
      triangle(cairo, width, width * 0.47, height * 0.76);
      break;
    case ShapeKind::Check:
      cairo_move_to(cairo, width * 0.14, height * 0.54);
      cairo_line_to(cairo, width * 0.40, height * 0.80);
      cairo_line_to(cairo, width * 0.88, height * 0.24);
      cairo_set_line_width(cairo, height * 0.13);
      cairo_set_line_cap(cairo, CAIRO_LINE_CAP_ROUND);
      cairo_set_line_join(cairo, CAIRO_LINE_JOIN_ROUND);
      cairo_stroke(cairo);
      break;
  }
  cairo_pop_group_to_source(cairo);
  cairo_paint_with_alpha(cairo, static_cast<double>(shape.color.alpha));
}

}  // namespace

int outlinePixels(const Shape& shape, double scale) {
  return std::max(static_cast<int>(std::lround(shape.line * scale)), 1);
}

Shapes::Shapes() : _cache(kCachedShapes, kCachedShapePixels) {}

SDL_Texture* Shapes::texture(SDL_Renderer* renderer, const Shape& shape, int width, int height,
                             double scale) {
  if (width <= 0 || height <= 0) return nullptr;
  char key[160];
  std::snprintf(key, sizeof key, "%d %d %d %.2f %.2f %.3f %.3f %.3f %.3f",
                static_cast<int>(shape.kind), width, height, shape.radius * scale,
                shape.line * scale, static_cast<double>(shape.color.red),
                static_cast<double>(shape.color.green), static_cast<double>(shape.color.blue),
                static_cast<double>(shape.color.alpha));
  if (const TexturePtr* cached = _cache.find(key)) return cached->get();
  CairoPicture picture(width, height);
  draw(picture, shape, width, height, scale);
  const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  return _cache.insert(key, picture.makeTexture(renderer), pixels).get();
}

SDL_Texture* Shapes::tile(SDL_Renderer* renderer, platform::Color color) {
  const auto level = [](float value) {
    return static_cast<std::uint32_t>(std::lround(std::clamp(value, 0.0F, 1.0F) * 255));
  };
  const std::uint32_t pixel = level(color.red) << 16 | level(color.green) << 8 | level(color.blue);
  char key[32];
  std::snprintf(key, sizeof key, "tile %06x", pixel);
  if (const TexturePtr* cached = _cache.find(key)) return cached->get();
  constexpr std::size_t kPixels = std::size_t{kTileWidth} * kTileHeight;
  const std::vector<std::uint32_t> pixels(kPixels, pixel);
  TexturePtr texture(SDL_CreateTexture(renderer, SDL_PIXELFORMAT_RGB888, SDL_TEXTUREACCESS_STATIC,
                                       kTileWidth, kTileHeight));
  if (!texture || SDL_UpdateTexture(texture.get(), nullptr, pixels.data(), 4 * kTileWidth) != 0)
    return nullptr;
  SDL_SetTextureBlendMode(texture.get(), SDL_BLENDMODE_BLEND);
  return _cache.insert(key, std::move(texture), kPixels).get();
}

}  // namespace box
