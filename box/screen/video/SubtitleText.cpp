#include "box/screen/video/SubtitleText.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include <pango/pangocairo.h>

#include "box/screen/drawing/CairoTexture.h"
#include "box/screen/drawing/TextLayout.h"

namespace box {
namespace {

using Alignment = media::CueLayout::Alignment;

guint16 pangoLevel(float value) {
  return static_cast<guint16>(std::lround(std::clamp(value, 0.0F, 1.0F) * 65535));
}

void appendAttributes(PangoAttrList* list, const media::SubtitleSpan& span) {
  const auto add = [&](PangoAttribute* attribute) {
    attribute->start_index = static_cast<guint>(span.begin);
    attribute->end_index = static_cast<guint>(span.end);
    // pango_attr_list_change() lets inner spans override outer ones.
    pango_attr_list_change(list, attribute);
  };
  const media::SubtitleLook& look = span.look;
  if (look.color) {
    const platform::Color& color = *look.color;
    add(pango_attr_foreground_new(pangoLevel(color.red), pangoLevel(color.green),
                                  pangoLevel(color.blue)));
    // Pango treats an alpha of 0 as unset.
    add(pango_attr_foreground_alpha_new(std::max<guint16>(pangoLevel(color.alpha), 1)));
  }
  if (look.bold) add(pango_attr_weight_new(*look.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL));
  if (look.italic)
    add(pango_attr_style_new(*look.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL));
  if (look.underline)
    add(pango_attr_underline_new(*look.underline ? PANGO_UNDERLINE_SINGLE : PANGO_UNDERLINE_NONE));
  if (look.size) add(pango_attr_scale_new(*look.size));
}

PangoAlignment pangoAlignment(Alignment alignment, const std::string& text) {
  // Pango swaps left and right in right-to-left text.
  const bool swaps = runsRightToLeft(text);
  if (alignment == Alignment::Center) return PANGO_ALIGN_CENTER;
  if (alignment == Alignment::Start || (alignment == Alignment::Left && !swaps) ||
      (alignment == Alignment::Right && swaps))
    return PANGO_ALIGN_LEFT;
  return PANGO_ALIGN_RIGHT;
}

PangoLayoutPtr layoutOf(const TextRenderer& texts, const media::SubtitleCue& cue,
                        const SubtitleArea& area, double size) {
  PangoAttrListPtr attributes(pango_attr_list_new());
  if (cue.look.underline.value_or(false)) {
    media::SubtitleSpan whole;
    whole.end = cue.text.size();
    whole.look.underline = true;
    appendAttributes(attributes.get(), whole);
  }
  double largest = 1;
  for (const media::SubtitleSpan& span : cue.spans) {
    appendAttributes(attributes.get(), span);
    largest = std::max(largest, span.look.size.value_or(1));
  }
  const bool bold = cue.look.bold.value_or(false);
  PangoLayoutPtr layout =
      makeTextLayout(texts.context(), cue.text,
                     {size, bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL,
                      cue.look.italic.value_or(false), largest},
                     pangoAlignment(cue.layout.alignment, cue.text), std::move(attributes));
  pango_layout_set_width(layout.get(), std::max(area.width, 1) * PANGO_SCALE);
  pango_layout_set_height(layout.get(), std::max(area.height, 1) * PANGO_SCALE);
  return layout;
}

/// Draws the background of a text range, line by line.
void drawBackground(cairo_t* context, PangoLayout* layout, std::size_t begin, std::size_t end,
                    double padding) {
  const PangoLayoutIterPtr iter(pango_layout_get_iter(layout));
  do {
    PangoLayoutLine* line = pango_layout_iter_get_line_readonly(iter.get());
    PangoRectangle extents;
    pango_layout_iter_get_line_extents(iter.get(), nullptr, &extents);
    const auto first = static_cast<std::size_t>(line->start_index);
    const auto last = first + static_cast<std::size_t>(line->length);
    if (begin >= last || end <= first) continue;
    int* ranges = nullptr;
    int count = 0;
    pango_layout_line_get_x_ranges(line, static_cast<int>(std::max(begin, first)),
                                   static_cast<int>(std::min(end, last)), &ranges, &count);
    for (std::ptrdiff_t index = 0; index < count; ++index) {
      const double left = ranges[2 * index] / static_cast<double>(PANGO_SCALE) - padding;
      const double right = ranges[2 * index + 1] / static_cast<double>(PANGO_SCALE) + padding;
      const double top = std::floor(extents.y / static_cast<double>(PANGO_SCALE));
      const double bottom =
          std::ceil((extents.y + extents.height) / static_cast<double>(PANGO_SCALE));
      cairo_rectangle(context, left, top, right - left, bottom - top);
    }
    g_free(ranges);
  } while (pango_layout_iter_next_line(iter.get()));
  cairo_fill(context);
}

media::TextEdge edgeOf(const media::SubtitleCue& cue) {
  if (cue.look.edge) return *cue.look.edge;
  // A text with an opaque background needs no outline.
  const bool hasBox = cue.look.background && cue.look.background->alpha > 0.5F;
  return hasBox ? media::TextEdge::None : media::TextEdge::Uniform;
}

void drawEdge(const CairoPicture& picture, PangoLayout* layout, media::TextEdge edge,
              double width) {
  if (edge == media::TextEdge::None) return;
  cairo_t* context = picture.context();
  picture.setColor(theme::kTextOutline);
  cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
  const auto stroke = [&](double offset, double line) {
    cairo_move_to(context, offset, offset);
    pango_cairo_layout_path(context, layout);
    cairo_set_line_width(context, 2 * line);
    cairo_stroke_preserve(context);
    cairo_fill(context);
  };
  // Text with a shadow keeps a thin outline, which makes it legible on white. The shadow touches
  // the outline, because a gap would look like a second glyph.
  stroke(0, edge == media::TextEdge::Uniform ? width : width / 2);
  if (edge == media::TextEdge::DropShadow) stroke(width, width / 2);
  if (edge == media::TextEdge::Raised) stroke(width / 2, width / 2);
  if (edge == media::TextEdge::Depressed) stroke(-width / 2, width / 2);
}

}  // namespace

SubtitlePicture drawSubtitleText(SDL_Renderer* renderer, const TextRenderer& texts,
                                 const media::SubtitleCue& cue, const SubtitleArea& area) {
  const double size = area.size * cue.look.size.value_or(1);
  const double edgeWidth = area.frame * theme::kSubtitleOutline;
  const double padding = size * theme::kSubtitlePadding;
  const PangoLayoutPtr layout = layoutOf(texts, cue, area, size);
  PangoRectangle ink;
  PangoRectangle logical;
  pango_layout_get_pixel_extents(layout.get(), &ink, &logical);
  SubtitlePicture picture;
  picture.textHeight = logical.height;
  picture.lineHeight = logical.height / std::max(pango_layout_get_line_count(layout.get()), 1);
  const bool hasBoxes =
      cue.look.background || std::any_of(cue.spans.begin(), cue.spans.end(),
                                         [](const auto& each) { return each.look.background; });
  if (ink.width <= 0 || ink.height <= 0) return picture;

  const int margin = 1 + static_cast<int>(std::ceil(std::max(3 * edgeWidth, padding)));
  int left = ink.x;
  int top = ink.y;
  int right = ink.x + ink.width;
  int bottom = ink.y + ink.height;
  if (hasBoxes) {
    left = std::min(left, logical.x);
    top = std::min(top, logical.y);
    right = std::max(right, logical.x + logical.width);
    bottom = std::max(bottom, logical.y + logical.height);
  }
  picture.x = left - margin;
  picture.y = top - margin;
  picture.width = right - left + 2 * margin;
  picture.height = bottom - top + 2 * margin;

  CairoPicture canvas(picture.width, picture.height);
  cairo_t* context = canvas.context();
  cairo_translate(context, -picture.x, -picture.y);
  const auto drawBox = [&](const media::SubtitleLook& look, std::size_t begin, std::size_t end) {
    if (!look.background) return;
    canvas.setColor(*look.background);
    drawBackground(context, layout.get(), begin, end, padding);
  };
  drawBox(cue.look, 0, cue.text.size());
  for (const media::SubtitleSpan& span : cue.spans) drawBox(span.look, span.begin, span.end);
  drawEdge(canvas, layout.get(), edgeOf(cue), edgeWidth);
  canvas.setColor(cue.look.color.value_or(theme::kSubtitle));
  cairo_move_to(context, 0, 0);
  pango_cairo_show_layout(context, layout.get());
  picture.texture = canvas.makeTexture(renderer);
  return picture;
}

}  // namespace box
