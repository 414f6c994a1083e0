#include "box/screen/Shapes.h"

#include <algorithm>
#include <cstdio>
#include <numbers>
#include <string>

#include "box/screen/CairoTexture.h"

namespace box {
namespace {

constexpr std::size_t kCachedShapes = 64;
constexpr std::size_t kCachedPixels = 6 * 1024 * 1024;

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

/// A triangle between two columns, pointing to `tip`, with its corners rounded by the line's joins.
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

void scrim(cairo_t* cairo, const platform::Color& color, double width, double height) {
  cairo_pattern_t* gradient = cairo_pattern_create_linear(0, 0, 0, height);
  // Eased, so that the upper edge is not seen.
  constexpr int kStops = 12;
  for (int i = 0; i <= kStops; ++i) {
    const double at = static_cast<double>(i) / kStops;
    const double eased = at * at * (3 - 2 * at);
    cairo_pattern_add_color_stop_rgba(
        gradient, at, static_cast<double>(color.red), static_cast<double>(color.green),
        static_cast<double>(color.blue), static_cast<double>(color.alpha) * eased);
  }
  cairo_set_source(cairo, gradient);
  cairo_rectangle(cairo, 0, 0, width, height);
  cairo_fill(cairo);
  cairo_pattern_destroy(gradient);
}

void draw(const CairoPicture& picture, const Shape& shape, double width, double height,
          double scale) {
  cairo_t* cairo = picture.context();
  // Opaque ink: a stroke that overlaps its fill must not show through. The opacity comes at the
  // end.
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
      const double line = std::max(shape.line * scale, 1.0);
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
    case ShapeKind::Stop:
      roundedPath(cairo, width * 0.08, width, height, width * 0.2);
      cairo_fill(cairo);
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
    case ShapeKind::Scrim:
      scrim(cairo, ink, width, height);
      break;
  }
  cairo_pop_group_to_source(cairo);
  cairo_paint_with_alpha(cairo, static_cast<double>(shape.color.alpha));
}

}  // namespace

Shapes::Shapes() : _cache(kCachedShapes, kCachedPixels) {}

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

}  // namespace box
