#include "box/screen/video/SubtitleLines.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "box/screen/drawing/Theme.h"
#include "platform/foundation/Utf8.h"

namespace box {
namespace {

using Alignment = media::CueLayout::Alignment;
using media::AnnotationSide;
using media::SubtitleLook;
using media::SubtitleSpan;

/// Size and height of ruby as multiples of the font size.
constexpr double kRubySize = 0.5;
constexpr double kRubyRoom = 0.5;
/// How far they reach into the free space of the line, as multiples of the font size.
constexpr double kRubyOverlap = 0.1;
/// A text that is too large for its area is made smaller in these steps.
constexpr double kShrinkStep = 0.8;
constexpr int kShrinkSteps = 8;
/// Ruby texts and marks of a cue.
constexpr std::size_t kMaxAnnotations = 512;

double pixelsOf(int units) { return units / static_cast<double>(PANGO_SCALE); }

guint16 pangoLevel(float value) {
  return static_cast<guint16>(std::lround(std::clamp(value, 0.0F, 1.0F) * 65535));
}

bool contains(const SubtitleSpan& outer, const SubtitleSpan& inner) {
  return &outer != &inner && outer.begin <= inner.begin && inner.end <= outer.end;
}

/// `size` is relative to the font size of the cue.
void appendAttributes(PangoAttrList* list, const SubtitleSpan& span, double size) {
  const auto add = [&](PangoAttribute* attribute) {
    attribute->start_index = static_cast<guint>(span.begin);
    attribute->end_index = static_cast<guint>(span.end);
    // pango_attr_list_change() lets inner spans override outer ones.
    pango_attr_list_change(list, attribute);
  };
  const SubtitleLook& look = span.look;
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
  if (look.size) add(pango_attr_scale_new(size));
}

double shareOf(Alignment alignment, bool rightToLeft) {
  switch (alignment) {
    case Alignment::Center:
      return 0.5;
    case Alignment::Start:
      return rightToLeft ? 1 : 0;
    case Alignment::End:
      return rightToLeft ? 0 : 1;
    case Alignment::Left:
      return 0;
    case Alignment::Right:
      break;
  }
  return 1;
}

bool overlapsLine(const PangoLayoutLine* line, std::size_t begin, std::size_t end) {
  const auto first = static_cast<std::size_t>(line->start_index);
  return begin < first + static_cast<std::size_t>(line->length) && end > first;
}

/// A context whose letters stand upright, or lie, when the lines are rotated by a quarter turn.
PangoContextPtr verticalContext(PangoContext* horizontal) {
  PangoContextPtr context(pango_font_map_create_context(pango_context_get_font_map(horizontal)));
  pango_context_set_language(context.get(), pango_context_get_language(horizontal));
  pango_cairo_context_set_font_options(context.get(),
                                       pango_cairo_context_get_font_options(horizontal));
  pango_context_set_base_gravity(context.get(), PANGO_GRAVITY_EAST);
  pango_context_set_gravity_hint(context.get(), PANGO_GRAVITY_HINT_NATURAL);
  return context;
}

}  // namespace

void SubtitleLines::Box::add(const Box& other) {
  if (other.isEmpty()) return;
  if (isEmpty()) {
    *this = other;
    return;
  }
  left = std::min(left, other.left);
  top = std::min(top, other.top);
  right = std::max(right, other.right);
  bottom = std::max(bottom, other.bottom);
}

SubtitleLines::SubtitleLines(const TextRenderer& texts, const media::SubtitleCue& cue,
                             const SubtitleArea& area)
    : _cue(cue),
      _hidden(cue),
      _context(texts.context()),
      _size(area.size * cue.look.size.value_or(1)) {
  if (cue.layout.writing != media::CueLayout::Writing::Horizontal) {
    _ownContext = verticalContext(_context);
    _context = _ownContext.get();
  }
  for (int step = 0;; ++step) {
    _makeRuby();
    _measureRoom();
    _layout = _makeLayout(area, _size);
    _placeLines(area);
    const bool isTooLarge = pango_layout_is_ellipsized(_layout.get()) || depth() > area.depth;
    if (!isTooLarge || step == kShrinkSteps) break;
    _size *= kShrinkStep;
  }
  for (const Line& line : _lines) _hidden.eraseFrom(line.line);
  _addAnnotations();
}

PangoLayoutPtr SubtitleLines::_smallLayout(const std::string& text, double size, bool bold) const {
  PangoLayoutPtr layout =
      makeTextLayout(_context, text, {size, bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL, false},
                     PANGO_ALIGN_LEFT, nullptr);
  pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
  pango_layout_set_width(layout.get(), -1);
  return layout;
}

void SubtitleLines::_makeRuby() {
  _rubies.clear();
  for (const SubtitleSpan& span : _cue.spans) {
    if (span.ruby.empty()) continue;
    Ruby ruby{span.begin, span.end, 0, nullptr, &span};
    ruby.layout = _smallLayout(span.ruby, _size * kRubySize * span.look.size.value_or(1),
                               span.look.bold.value_or(false));
    int width = 0;
    pango_layout_get_size(ruby.layout.get(), &width, nullptr);
    ruby.width = pixelsOf(width);
    _rubies.push_back(std::move(ruby));
  }
}

void SubtitleLines::_measureRoom() {
  _before = _after = 0;
  const auto reserve = [&](const std::optional<AnnotationSide>& look) {
    const AnnotationSide side =
        look.value_or(_cue.look.annotationSide.value_or(AnnotationSide::Before));
    if (side != AnnotationSide::After) _before = _size * kRubyRoom;
    if (side != AnnotationSide::Before) _after = _size * kRubyRoom;
  };
  for (const Ruby& ruby : _rubies) reserve(ruby.span->look.annotationSide);
  if (_cue.look.emphasis.value_or(0) != 0) reserve(std::nullopt);
  for (const SubtitleSpan& span : _cue.spans)
    if (span.look.emphasis.value_or(0) != 0) reserve(span.look.annotationSide);
}

PangoLayoutPtr SubtitleLines::_makeLayout(const SubtitleArea& area, double size) const {
  PangoAttrListPtr attributes(pango_attr_list_new());
  if (_cue.look.underline.value_or(false)) {
    SubtitleSpan whole;
    whole.end = _cue.text.size();
    whole.look.underline = true;
    appendAttributes(attributes.get(), whole, 1);
  }
  double largest = 1;
  for (const SubtitleSpan& span : _cue.spans) {
    if (!span.ruby.empty()) continue;
    // Sizes of nested spans are relative to each other.
    double spanSize = span.look.size.value_or(1);
    for (const SubtitleSpan& outer : _cue.spans) {
      if (&outer == &span) break;
      if (outer.ruby.empty() && contains(outer, span)) spanSize *= outer.look.size.value_or(1);
    }
    spanSize = std::clamp(spanSize, 0.1, 10.0);
    appendAttributes(attributes.get(), span, spanSize);
    largest = std::max(largest, spanSize);
  }
  _hidden.appendAttributes(attributes.get());
  const bool bold = _cue.look.bold.value_or(false);
  for (const Ruby& ruby : _rubies) {
    // A base that is shorter than its ruby is spread.
    const std::string base = _cue.text.substr(ruby.begin, ruby.end - ruby.begin);
    int width = 0;
    pango_layout_get_size(_smallLayout(base, size, bold).get(), &width, nullptr);
    const double missing = ruby.width - pixelsOf(width);
    const auto letters =
        static_cast<double>(g_utf8_strlen(base.data(), static_cast<gssize>(base.size())));
    if (missing <= 0 || letters < 1) continue;
    PangoAttribute* spacing =
        pango_attr_letter_spacing_new(static_cast<int>(missing / letters * PANGO_SCALE));
    spacing->start_index = static_cast<guint>(ruby.begin);
    spacing->end_index = static_cast<guint>(ruby.end);
    pango_attr_list_insert(attributes.get(), spacing);
  }
  PangoLayoutPtr layout = makeTextLayout(_context, _cue.text,
                                         {size, bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL,
                                          _cue.look.italic.value_or(false), largest},
                                         PANGO_ALIGN_LEFT, std::move(attributes));
  pango_layout_set_width(layout.get(), std::max(area.length, 1) * PANGO_SCALE);
  pango_layout_set_height(layout.get(), std::max(area.depth, 1) * PANGO_SCALE);
  return layout;
}

void SubtitleLines::_placeLines(const SubtitleArea& area) {
  _lines.clear();
  _ink = _logical = {};
  double y = 0;
  double longest = 0;
  std::vector<Box> inks;
  const PangoLayoutIterPtr iter(pango_layout_get_iter(_layout.get()));
  do {
    PangoRectangle ink;
    PangoRectangle logical;
    pango_layout_iter_get_line_extents(iter.get(), &ink, &logical);
    Line line;
    line.line = pango_layout_iter_get_line_readonly(iter.get());
    line.layoutX = pixelsOf(logical.x);
    line.width = pixelsOf(logical.width);
    line.height = pixelsOf(logical.height);
    line.top = y + _before;
    line.baseline = line.top + pixelsOf(pango_layout_iter_get_baseline(iter.get()) - logical.y);
    line.slotTop = y;
    line.slotBottom = y = line.top + line.height + _after;
    longest = std::max(longest, line.width);
    inks.push_back({pixelsOf(ink.x - logical.x), pixelsOf(ink.y - logical.y),
                    pixelsOf(ink.x - logical.x + ink.width),
                    pixelsOf(ink.y - logical.y + ink.height)});
    _lines.push_back(line);
  } while (pango_layout_iter_next_line(iter.get()));
  const bool rightToLeft = platform::runsRightToLeft(_cue.text);
  const auto rows = _cue.layout.rowAlignment;
  const double block = (area.length - longest) * shareOf(_cue.layout.alignment, rightToLeft);
  for (std::size_t index = 0; index < _lines.size(); ++index) {
    Line& line = _lines[index];
    const bool isReversed = line.line->resolved_dir == PANGO_DIRECTION_RTL;
    const double x = rows ? block + (longest - line.width) * shareOf(*rows, isReversed)
                          : (area.length - line.width) * shareOf(_cue.layout.alignment, isReversed);
    // Whole pixels, half of one upwards: Cairo would round each glyph by itself.
    line.x = std::floor(x + 0.5);
    Box ink = inks[index];
    ink.left += line.x;
    ink.right += line.x;
    ink.top += line.top;
    ink.bottom += line.top;
    _ink.add(ink);
    _logical.add({line.x, line.slotTop, line.x + std::max(line.width, 1e-6), line.slotBottom});
  }
}

std::vector<SubtitleLines::Box> SubtitleLines::boxesOf(const Line& line, std::size_t begin,
                                                       std::size_t end) const {
  std::vector<Box> boxes;
  if (!overlapsLine(line.line, begin, end)) return boxes;
  const auto first = static_cast<std::size_t>(line.line->start_index);
  const auto last = first + static_cast<std::size_t>(line.line->length);
  int* ranges = nullptr;
  int count = 0;
  pango_layout_line_get_x_ranges(line.line, static_cast<int>(std::max(begin, first)),
                                 static_cast<int>(std::min(end, last)), &ranges, &count);
  const double offset = line.x - line.layoutX;
  for (std::ptrdiff_t index = 0; index < count; ++index)
    boxes.push_back({pixelsOf(ranges[2 * index]) + offset, line.top,
                     pixelsOf(ranges[2 * index + 1]) + offset, line.top + line.height});
  g_free(ranges);
  return boxes;
}

bool SubtitleLines::_isAfter(std::optional<AnnotationSide> side, const Line& line) const {
  switch (side.value_or(_cue.look.annotationSide.value_or(AnnotationSide::Before))) {
    case AnnotationSide::Before:
      return false;
    case AnnotationSide::After:
      return true;
    case AnnotationSide::Outside:
      break;
  }
  return &line != &_lines.front();
}

void SubtitleLines::_addBeside(const Line& line, bool isAfter, double middle, PangoLayout* layout,
                               double height, const SubtitleLook* look) {
  if (_annotations.size() >= kMaxAnnotations) return;
  PangoRectangle ink;
  PangoRectangle logical;
  pango_layout_get_extents(layout, &ink, &logical);
  const auto lineIndex = static_cast<std::size_t>(&line - _lines.data());
  Annotation added{layout, middle - pixelsOf(logical.width) / 2, 0, lineIndex, look};
  // The ink is centred in the room, whatever the line height of the font.
  const double away = height / 2 - _size * kRubyOverlap;
  const double center = isAfter ? line.top + line.height + away : line.top - away;
  added.y = center - pixelsOf(ink.y) - pixelsOf(ink.height) / 2;
  _annotations.push_back(added);
  const double left = added.x + pixelsOf(ink.x);
  const double top = added.y + pixelsOf(ink.y);
  const Box box{left, top, left + pixelsOf(ink.width), top + pixelsOf(ink.height)};
  _ink.add(box);
  _logical.add({box.left, _logical.top, box.right, _logical.bottom});
}

void SubtitleLines::_addRuby(const Ruby& ruby) {
  for (const Line& line : _lines) {
    Box base;
    for (const Box& each : boxesOf(line, ruby.begin, ruby.end)) base.add(each);
    if (base.isEmpty()) continue;
    if (_hidden.contains(ruby.begin)) return;
    const bool isAfter = _isAfter(ruby.span->look.annotationSide, line);
    _addBeside(line, isAfter, (base.left + base.right) / 2, ruby.layout.get(),
               isAfter ? _after : _before, &ruby.span->look);
    // The ruby of a base that is broken into two lines stands beside the first one.
    return;
  }
}

void SubtitleLines::_addMarks(std::size_t begin, std::size_t end, char32_t mark,
                              std::optional<AnnotationSide> side, const SubtitleLook* look) {
  auto known = std::find_if(_marks.begin(), _marks.end(),
                            [&](const auto& each) { return each.first == mark; });
  if (known == _marks.end()) {
    char bytes[6];
    const int size = g_unichar_to_utf8(mark, bytes);
    _marks.emplace_back(
        mark, _smallLayout({bytes, static_cast<std::size_t>(size)}, _size * kRubySize, false));
    known = std::prev(_marks.end());
  }
  const char* const text = _cue.text.data();
  for (const Line& line : _lines) {
    if (!overlapsLine(line.line, begin, end)) continue;
    const auto first = static_cast<std::size_t>(line.line->start_index);
    const std::size_t last = std::min(end, first + static_cast<std::size_t>(line.line->length));
    const bool isAfter = _isAfter(side, line);
    for (const char* at = text + std::max(begin, first); at < text + last;
         at = g_utf8_next_char(at)) {
      const gunichar letter = g_utf8_get_char(at);
      const int index = static_cast<int>(at - text);
      if (!g_unichar_isgraph(letter) || g_unichar_ismark(letter) || g_unichar_ispunct(letter) ||
          _hidden.contains(static_cast<std::size_t>(index)))
        continue;
      int from = 0;
      int to = 0;
      pango_layout_line_index_to_x(line.line, index, FALSE, &from);
      pango_layout_line_index_to_x(line.line, index, TRUE, &to);
      _addBeside(line, isAfter, line.x + pixelsOf(from + to) / 2, known->second.get(),
                 isAfter ? _after : _before, look);
    }
  }
}

void SubtitleLines::_addAnnotations() {
  for (const Ruby& ruby : _rubies) _addRuby(ruby);
  // The mark of each part of the text is that of the innermost span.
  std::vector<std::size_t> places{0, _cue.text.size()};
  for (const SubtitleSpan& span : _cue.spans)
    if (span.look.emphasis) places.insert(places.end(), {span.begin, span.end});
  std::sort(places.begin(), places.end());
  for (std::size_t index = 0; index + 1 < places.size(); ++index) {
    const std::size_t begin = places[index];
    const std::size_t end = places[index + 1];
    char32_t mark = _cue.look.emphasis.value_or(0);
    std::optional<AnnotationSide> side;
    const SubtitleLook* look = nullptr;
    for (const SubtitleSpan& span : _cue.spans) {
      if (!span.look.emphasis || span.begin > begin || span.end < end) continue;
      mark = *span.look.emphasis;
      side = span.look.annotationSide;
      look = &span.look;
    }
    if (mark != 0 && begin < end) _addMarks(begin, end, mark, side, look);
  }
}

}  // namespace box
