#include "box/screen/video/SubtitleText.h"

#include <algorithm>
#include <cmath>

#include <pango/pangocairo.h>

#include "box/screen/drawing/CairoTexture.h"

namespace box {
namespace {

using Writing = media::CueLayout::Writing;
using Box = SubtitleLines::Box;

constexpr double kMaxShear = 1;

media::TextEdge edgeOf(const media::SubtitleCue& cue) {
  if (cue.look.edge) return *cue.look.edge;
  // A text with an opaque background needs no outline.
  const auto isOpaque = [](const std::optional<platform::Color>& color) {
    return color && color->alpha > 0.5F;
  };
  return isOpaque(cue.look.background) || isOpaque(cue.layout.background)
             ? media::TextEdge::None
             : media::TextEdge::Uniform;
}

/// The transformation from the coordinates of SubtitleLines to those of the picture.
class TextTransform {
 public:
  TextTransform(const media::SubtitleCue& cue, const SubtitleLines& lines)
      : _writing(cue.layout.writing), _depth(lines.depth()) {
    const double shear = std::clamp(cue.layout.shear, -kMaxShear, kMaxShear);
    // Shears along x around the middle of the lines.
    cairo_matrix_init(&_matrix, 1, 0, -shear, 1, shear * _depth / 2, 0);
    if (_writing == Writing::Horizontal) return;
    cairo_matrix_t turn;
    cairo_matrix_init(&turn, 0, 1, -1, 0, _depth, 0);
    cairo_matrix_multiply(&_matrix, &_matrix, &turn);
  }

  void apply(cairo_t* context) const { cairo_transform(context, &_matrix); }
  /// How far a line has to be moved along y: lines that follow each other to the right are in the
  /// reverse order.
  double shiftOf(double top, double bottom) const {
    return _writing == Writing::VerticalToRight ? _depth - bottom - top : 0;
  }
  Box boundsOf(const Box& box) const {
    Box bounds;
    for (const double x : {box.left, box.right})
      for (const double y : {box.top, box.bottom}) {
        double toX = x;
        double toY = y;
        cairo_matrix_transform_point(&_matrix, &toX, &toY);
        constexpr double kThin = 1e-3;
        bounds.add({toX, toY, toX + kThin, toY + kThin});
      }
    return bounds;
  }

 private:
  const Writing _writing;
  const double _depth;
  cairo_matrix_t _matrix;
};

class TextPainter {
 public:
  TextPainter(const CairoPicture& canvas, const media::SubtitleCue& cue, const SubtitleLines& lines,
              const TextTransform& transform)
      : _canvas(canvas), _cue(cue), _lines(lines), _transform(transform) {}

  void drawBackground(const media::SubtitleLook& look, std::size_t begin, std::size_t end) const {
    if (!look.background) return;
    _canvas.setColor(*look.background);
    cairo_t* context = _canvas.context();
    const double padding = _lines.fontSize() * theme::kSubtitlePadding;
    for (const SubtitleLines::Line& line : _lines.lines()) {
      for (const Box& box : _lines.boxesOf(line, begin, end)) {
        const double shift = _shiftOf(line);
        const double top = std::floor(box.top + shift);
        cairo_rectangle(context, box.left - padding, top, box.right - box.left + 2 * padding,
                        std::ceil(box.bottom + shift) - top);
      }
    }
    cairo_fill(context);
  }

  void drawEdge(media::TextEdge edge, double width) const {
    if (edge == media::TextEdge::None) return;
    // The outline of a translucent text is translucent too.
    platform::Color color = theme::kTextOutline;
    color.alpha *= _cue.look.color.value_or(theme::kSubtitle).alpha;
    _canvas.setColor(color);
    cairo_set_line_join(_canvas.context(), CAIRO_LINE_JOIN_ROUND);
    // Text with a shadow keeps a thin outline, which makes it legible on white. The shadow touches
    // the outline, because a gap would look like a second glyph.
    _stroke(0, edge == media::TextEdge::Uniform ? width : width / 2);
    if (edge == media::TextEdge::DropShadow) _stroke(width, width / 2);
    if (edge == media::TextEdge::Raised) _stroke(width / 2, width / 2);
    if (edge == media::TextEdge::Depressed) _stroke(-width / 2, width / 2);
  }

  void drawText() const {
    cairo_t* context = _canvas.context();
    const platform::Color color = _cue.look.color.value_or(theme::kSubtitle);
    _canvas.setColor(color);
    for (const SubtitleLines::Line& line : _lines.lines()) {
      cairo_move_to(context, line.x, line.baseline + _shiftOf(line));
      pango_cairo_show_layout_line(context, line.line);
    }
    for (const SubtitleLines::Annotation& each : _lines.annotations()) {
      _canvas.setColor(each.look && each.look->color ? *each.look->color : color);
      cairo_move_to(context, each.x, each.y + _shiftOf(each));
      pango_cairo_show_layout(context, each.layout);
    }
  }

 private:
  double _shiftOf(const SubtitleLines::Line& line) const {
    return _transform.shiftOf(line.slotTop, line.slotBottom);
  }
  /// An annotation moves with its line.
  double _shiftOf(const SubtitleLines::Annotation& annotation) const {
    return _shiftOf(_lines.lines()[annotation.lineIndex]);
  }

  void _stroke(double offset, double width) const {
    cairo_t* context = _canvas.context();
    for (const SubtitleLines::Line& each : _lines.lines()) {
      cairo_move_to(context, each.x + offset, each.baseline + _shiftOf(each) + offset);
      pango_cairo_layout_line_path(context, each.line);
    }
    _strokePath(width);
    // Small letters have a thinner outline.
    for (const SubtitleLines::Annotation& each : _lines.annotations()) {
      cairo_move_to(context, each.x + offset / 2, each.y + _shiftOf(each) + offset / 2);
      pango_cairo_layout_path(context, each.layout);
    }
    _strokePath(width / 2);
  }

  void _strokePath(double width) const {
    cairo_set_line_width(_canvas.context(), 2 * width);
    cairo_stroke_preserve(_canvas.context());
    cairo_fill(_canvas.context());
  }

  const CairoPicture& _canvas;
  const media::SubtitleCue& _cue;
  const SubtitleLines& _lines;
  const TextTransform& _transform;
};

}  // namespace

SubtitlePicture drawSubtitleText(SDL_Renderer* renderer, const TextRenderer& texts,
                                 const media::SubtitleCue& cue, const SubtitleArea& area) {
  const SubtitleLines lines(texts, cue, area);
  const TextTransform transform(cue, lines);
  const bool isVertical = cue.layout.writing != Writing::Horizontal;
  SubtitlePicture picture;
  const int depth = static_cast<int>(std::ceil(lines.depth()));
  picture.boxWidth = isVertical ? depth : area.length;
  picture.boxHeight = isVertical ? area.length : depth;
  picture.lineDepth = static_cast<int>(std::lround(lines.lineDepth()));
  const bool hasBoxes =
      cue.look.background || std::any_of(cue.spans.begin(), cue.spans.end(),
                                         [](const auto& each) { return each.look.background; });
  if (lines.ink().isEmpty()) return picture;

  const double edgeWidth = area.frame * theme::kSubtitleOutline;
  Box bounds = lines.ink();
  if (hasBoxes) bounds.add(lines.logical());
  // The lines of this direction are drawn in reverse order, so all of their places count.
  if (cue.layout.writing == Writing::VerticalToRight) {
    bounds.top = 0;
    bounds.bottom = lines.depth();
  }
  bounds = transform.boundsOf(bounds);
  const int margin = 1 + static_cast<int>(std::ceil(
                             std::max(3 * edgeWidth, lines.fontSize() * theme::kSubtitlePadding)));
  picture.x = static_cast<int>(std::floor(bounds.left)) - margin;
  picture.y = static_cast<int>(std::floor(bounds.top)) - margin;
  picture.width = static_cast<int>(std::ceil(bounds.right)) + margin - picture.x;
  picture.height = static_cast<int>(std::ceil(bounds.bottom)) + margin - picture.y;

  CairoPicture canvas(picture.width, picture.height);
  cairo_translate(canvas.context(), -picture.x, -picture.y);
  transform.apply(canvas.context());
  const TextPainter painter(canvas, cue, lines, transform);
  if (!cue.look.isHidden.value_or(false)) painter.drawBackground(cue.look, 0, cue.text.size());
  for (const media::SubtitleSpan& span : cue.spans)
    if (span.ruby.empty() && !span.look.isHidden.value_or(false))
      painter.drawBackground(span.look, span.begin, span.end);
  painter.drawEdge(edgeOf(cue), edgeWidth);
  painter.drawText();
  picture.texture = canvas.makeTexture(renderer);
  return picture;
}

}  // namespace box
