#include "box/screen/drawing/TextRenderer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <glib.h>
#include <pango/pangocairo.h>

#include "box/screen/drawing/CairoTexture.h"
#include "box/screen/drawing/TextLayout.h"
#include "box/screen/workarounds/PangoFontThreads.h"

namespace box {
namespace {

constexpr std::size_t kCachedTexts = 96;
constexpr std::size_t kCachedTextPixels = std::size_t{6} * 1024 * 1024;
constexpr std::size_t kCachedExtents = 1024;

/// Returns valid UTF-8, truncated to kTextLimit characters.
std::string sanitizedText(const std::string& text) {
  // Cut by bytes first. A character that is cut apart becomes a replacement character.
  const std::size_t limit = static_cast<std::size_t>(theme::kTextLimit) * 4;
  gchar* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(std::min(text.size(), limit)));
  std::string result(valid);
  if (g_utf8_strlen(valid, -1) > theme::kTextLimit) {
    result.resize(
        static_cast<std::size_t>(g_utf8_offset_to_pointer(valid, theme::kTextLimit) - valid));
  }
  g_free(valid);
  return result;
}

/// Returns the language tag of a locale for font selection; empty for none.
std::string fontLanguage(const std::string& locale) {
  if (locale == "C") return {};
  if (locale.starts_with("zh_Hant")) return "zh-tw";
  if (locale == "zh" || locale.starts_with("zh_Hans")) return "zh-cn";
  return locale;
}

std::string cacheKey(const TextRun& run, double scale) {
  char look[160];
  std::snprintf(look, sizeof look, "%.2f %d %.3f %.3f %.3f %.3f %d %.1f %.1f %.1f %.4f ", run.size,
                run.bold, static_cast<double>(run.color.red), static_cast<double>(run.color.green),
                static_cast<double>(run.color.blue), static_cast<double>(run.color.alpha),
                static_cast<int>(run.alignment), run.width, run.height, run.outline, scale);
  return look + run.text;
}

PangoAlignment alignment(platform::TextAlignment alignment) {
  // Pango swaps left and right in right-to-left text.
  switch (alignment) {
    case platform::TextAlignment::Leading:
      return PANGO_ALIGN_LEFT;
    case platform::TextAlignment::Center:
      return PANGO_ALIGN_CENTER;
    case platform::TextAlignment::Trailing:
      break;
  }
  return PANGO_ALIGN_RIGHT;
}

}  // namespace

struct TextRenderer::Impl {
  PangoFontMapPtr fonts{pango_cairo_font_map_new()};
  PangoContextPtr context{pango_font_map_create_context(fonts.get())};

  explicit Impl(const std::string& language) {
    const std::string name = fontLanguage(language);
    if (!name.empty())
      pango_context_set_language(context.get(), pango_language_from_string(name.c_str()));
    cairo_font_options_t* options = cairo_font_options_create();
    // Subpixel antialiasing does not suit televisions, whose subpixel order is unknown.
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(context.get(), options);
    cairo_font_options_destroy(options);
  }

  PangoLayoutPtr layout(const TextRun& run, double scale) const {
    PangoLayoutPtr layout = makeTextLayout(
        context.get(), sanitizedText(run.text),
        {run.size * scale, run.bold ? PANGO_WEIGHT_SEMIBOLD : PANGO_WEIGHT_NORMAL, false},
        alignment(run.alignment), nullptr);
    const auto units = [&](double points) {
      return static_cast<int>(std::lround(points * scale * PANGO_SCALE));
    };
    pango_layout_set_width(layout.get(),
                           units(std::clamp(run.width, 1.0, 4 * platform::kScreenWidth)));
    if (run.height > 0) {
      pango_layout_set_height(layout.get(),
                              units(std::min(run.height, 4 * platform::kScreenHeight)));
    } else {
      pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
      pango_layout_set_height(layout.get(), -1);
    }
    return layout;
  }
};

TextRenderer::TextRenderer(const std::string& language)
    : _impl(std::make_unique<Impl>(language)),
      _cache(kCachedTexts, kCachedTextPixels),
      _extents(kCachedExtents, kCachedExtents) {
  installPangoFontThreads();
}
TextRenderer::~TextRenderer() = default;

void TextRenderer::warmUp() {
  for (const bool bold : {false, true}) {
    const TextRun run{
        "0:00", theme::look(platform::TextStyle::Body).size, bold, theme::kText, {}, 400, 0};
    PangoRectangle ink;
    pango_layout_get_pixel_extents(_impl->layout(run, 1).get(), &ink, nullptr);
  }
}

PangoContext* TextRenderer::context() const { return _impl->context.get(); }

TextExtent TextRenderer::measure(const TextRun& run, double scale) {
  if (run.text.empty()) return {};
  const std::string key = cacheKey(run, scale);
  if (const TextExtent* cached = _extents.find(key)) return *cached;
  const PangoLayoutPtr layout = _impl->layout(run, scale);
  PangoRectangle ink;
  PangoRectangle logical;
  pango_layout_get_pixel_extents(layout.get(), &ink, &logical);
  return _extents.insert(key,
                         {logical.width / scale, logical.height / scale, ink.y / scale,
                          ink.height / scale, pango_layout_is_ellipsized(layout.get()) != FALSE},
                         1);
}

const TextPicture& TextRenderer::picture(SDL_Renderer* renderer, const TextRun& run, double scale) {
  const std::string key = cacheKey(run, scale);
  if (const TextPicture* cached = _cache.find(key)) return *cached;

  const PangoLayoutPtr layout = _impl->layout(run, scale);
  PangoRectangle ink;
  PangoRectangle logical;
  pango_layout_get_pixel_extents(layout.get(), &ink, &logical);
  TextPicture picture;
  picture.lineHeight = logical.height;
  if (ink.width > 0 && ink.height > 0) {
    // One extra pixel on each side for antialiasing.
    const int margin = 1 + static_cast<int>(std::ceil(run.outline * scale));
    picture.x = ink.x - margin;
    picture.y = ink.y - margin;
    picture.width = ink.width + 2 * margin;
    picture.height = ink.height + 2 * margin;
    CairoPicture canvas(picture.width, picture.height);
    if (run.outline > 0) {
      canvas.setColor(theme::kTextOutline);
      cairo_move_to(canvas.context(), -picture.x, -picture.y);
      pango_cairo_layout_path(canvas.context(), layout.get());
      cairo_set_line_join(canvas.context(), CAIRO_LINE_JOIN_ROUND);
      cairo_set_line_width(canvas.context(), 2 * run.outline * scale);
      cairo_stroke(canvas.context());
    }
    canvas.setColor(run.color);
    cairo_move_to(canvas.context(), -picture.x, -picture.y);
    pango_cairo_show_layout(canvas.context(), layout.get());
    picture.texture = canvas.makeTexture(renderer);
  }
  const auto pixels =
      static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height);
  return _cache.insert(key, std::move(picture), pixels);
}

}  // namespace box
