#include "box/screen/drawing/TextLayout.h"

#include <algorithm>

#include "box/screen/drawing/Theme.h"

namespace box {
namespace {

bool hasLetterBetween(const std::string& text, gunichar first, gunichar last) {
  for (const gchar* at = text.c_str(); *at; at = g_utf8_next_char(at)) {
    const gunichar letter = g_utf8_get_char(at);
    if (letter >= first && letter <= last) return true;
  }
  return false;
}
/// Kana occur in Japanese only.
bool hasKana(const std::string& text) { return hasLetterBetween(text, 0x3041, 0x30FF); }
bool hasArabic(const std::string& text) { return hasLetterBetween(text, 0x0600, 0x06FF); }

/// Line height as a multiple of the font size. The default of the Arabic fonts leaves room for
/// marks that are not used here.
constexpr double kArabicLineHeight = 1.45;

}  // namespace

PangoLayoutPtr makeTextLayout(PangoContext* context, const std::string& text, const TextFont& font,
                              PangoAlignment alignment, PangoAttrListPtr attributes) {
  PangoLayoutPtr layout(pango_layout_new(context));
  const std::unique_ptr<PangoFontDescription, PangoDeleter> description(
      pango_font_description_from_string(theme::kFontFamilies));
  pango_font_description_set_weight(description.get(), font.weight);
  if (font.italic) pango_font_description_set_style(description.get(), PANGO_STYLE_ITALIC);
  pango_font_description_set_absolute_size(description.get(),
                                           std::max(font.pixels, 1.0) * PANGO_SCALE);
  pango_layout_set_font_description(layout.get(), description.get());
  pango_layout_set_auto_dir(layout.get(), TRUE);
  pango_layout_set_alignment(layout.get(), alignment);
  pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
  pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
  pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
  if (!attributes) attributes.reset(pango_attr_list_new());
  if (hasKana(text))
    pango_attr_list_insert(attributes.get(),
                           pango_attr_language_new(pango_language_from_string("ja")));
  if (hasArabic(text)) {
    const double height = std::max(font.pixels, 1.0) * font.largestSpan * kArabicLineHeight;
    pango_attr_list_insert(attributes.get(), pango_attr_line_height_new_absolute(
                                                 static_cast<int>(height * PANGO_SCALE)));
  }
  pango_layout_set_attributes(layout.get(), attributes.get());
  return layout;
}

}  // namespace box
