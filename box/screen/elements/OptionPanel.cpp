#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>
#include <vector>

#include "box/screen/drawing/Theme.h"
#include "box/screen/elements/Controls.h"
#include "box/screen/elements/Elements.h"
#include "platform/foundation/Utf8.h"

namespace box {

using platform::OptionListElement;
using platform::Rect;
using platform::TextAlignment;
using platform::TextStyle;

namespace {

/// A list, laid out in the direction of its language. The lists of the panel are ordered left to
/// right, to match the remote.
///
/// Workflow: naturalWidth(), setWidth(), heightWithin(), draw() in a rectangle of that size.
class List {
 public:
  List(Canvas& canvas, const OptionListElement& list) : _canvas(canvas), _list(list) {
    const bool untitled = list.title.empty();
    _mirrored =
        platform::runsRightToLeft(untitled && !list.options.empty() ? list.options[0] : list.title);
  }

  /// Width at which every option fits into one line.
  double naturalWidth() const {
    double widest = _widthOf(_title()) + 2 * theme::kPanelRowPadding;
    for (std::size_t i = 0; i < _list.options.size(); ++i)
      widest = std::max(widest, _widthOf(_option(i, theme::kText)) + _widthBesideText());
    return widest + theme::kScrollBarWidth + theme::kSpace3;
  }

  void setWidth(double width) {
    _width = width;
    _heights.clear();
    const double least = _canvas.textScaled(theme::kPanelRowHeight);
    for (std::size_t i = 0; i < _list.options.size(); ++i) {
      TextRun run = _option(i, theme::kText);
      run.width = _textWidth();
      run.height = _textHeight();
      const double text = std::ceil(_canvas.measure(run).height);
      _heights.push_back(std::max(least, text + 2 * theme::kPanelRowPaddingY));
    }
  }

  double headingHeight() const { return _canvas.textScaled(theme::kPanelHeadingHeight); }
  /// Height of the visible rows within `room`, as the maximum over all focused rows, so that the
  /// panel keeps its size while the list scrolls.
  double heightWithin(double room) const {
    double highest = 0;
    for (std::size_t focused = 0; focused < _heights.size(); ++focused)
      highest = std::max(highest, _heightOf(_visible(focused, room - headingHeight())));
    return headingHeight() + highest;
  }

  void draw(const Rect& place, float alpha) const {
    const Rect titlePlace{place.x + theme::kPanelRowPadding, place.y,
                          place.width - 2 * theme::kPanelRowPadding,
                          headingHeight() - theme::kSpace2};
    _canvas.text(_canvas.fitted(_title(), titlePlace, false), titlePlace, false,
                 Canvas::Vertical::Center, alpha);

    const double top = place.y + headingHeight();
    const std::size_t middle = _list.focused.value_or(_list.selected.value_or(0));
    const Rows rows = _visible(middle, place.y + place.height - top);
    const bool scrolls = rows.last - rows.first < _heights.size();
    double y = top;
    for (std::size_t i = rows.first; i < rows.last; ++i) {
      const double width = place.width - (scrolls ? _scrollBarSpace() : 0);
      _drawRow(i, _mirror({place.x, y, width, _heights[i]}, place), alpha);
      y += _heights[i] + theme::kPanelRowGap;
    }
    if (!scrolls) return;
    const Rect bar{place.x + place.width - theme::kScrollBarWidth, top, theme::kScrollBarWidth,
                   _heightOf(rows)};
    _drawScrollBar(_mirror(bar, place), rows, alpha);
  }

 private:
  TextRun _title() const {
    TextRun run =
        _canvas.styled(_list.title, TextStyle::Caption, theme::kTextDim, _alignment(_list.title));
    run.bold = true;
    return run;
  }
  TextRun _option(std::size_t index, platform::Color color) const {
    const std::string& text = _list.options[index];
    TextRun run = _canvas.styled(text, TextStyle::Body, color, _alignment(text));
    run.bold = _list.selected == index;
    return run;
  }
  /// Aligns to the side where the list's language starts, independent of the text's own direction.
  TextAlignment _alignment(const std::string& text) const {
    return platform::runsRightToLeft(text) == _mirrored ? TextAlignment::Leading
                                                        : TextAlignment::Trailing;
  }

  double _widthOf(TextRun run) const {
    run.width = platform::kScreenWidth;
    return std::ceil(_canvas.measure(run).width) + 2;
  }
  double _indent() const {
    return _canvas.textScaled(theme::kPanelCheckSize) + theme::kPanelCheckGap;
  }
  double _widthBesideText() const { return _indent() + 2 * theme::kPanelRowPadding; }
  static double _scrollBarSpace() { return theme::kScrollBarWidth + theme::kSpace3; }
  /// Always reserves space for the scroll bar: whether the list scrolls depends on the row heights,
  /// which depend on this width.
  double _textWidth() const { return _width - _scrollBarSpace() - _widthBesideText(); }
  double _textHeight() const { return _canvas.textScaled(theme::kPanelMaxTextHeight); }

  struct Rows {
    std::size_t first;
    std::size_t last;  ///< exclusive
  };
  double _heightOf(const Rows& rows) const {
    double height = 0;
    for (std::size_t i = rows.first; i < rows.last; ++i)
      height += _heights[i] + theme::kPanelRowGap;
    return std::max(height - theme::kPanelRowGap, 0.0);
  }
  /// Returns the rows that fit into `room`, with row `middle` centered if possible.
  Rows _visible(std::size_t middle, double room) const {
    const std::size_t count = _heights.size();
    if (count == 0) return {0, 0};
    middle = std::min(middle, count - 1);
    Rows rows{middle, middle + 1};
    // Rounding errors of the sum must not hide a row.
    constexpr double kTolerance = 0.5;
    const auto fits = [&](const Rows& more) {
      return more.last - more.first <= theme::kPanelRows && _heightOf(more) <= room + kTolerance;
    };
    for (bool grows = true; std::exchange(grows, false);) {
      if (rows.first > 0 && fits({rows.first - 1, rows.last})) {
        --rows.first;
        grows = true;
      }
      if (rows.last < count && fits({rows.first, rows.last + 1})) {
        ++rows.last;
        grows = true;
      }
    }
    return rows;
  }

  Rect _mirror(const Rect& rect, const Rect& place) const {
    if (!_mirrored) return rect;
    return {2 * place.x + place.width - rect.x - rect.width, rect.y, rect.width, rect.height};
  }

  void _drawRow(std::size_t index, const Rect& row, float alpha) const {
    const bool focused = _list.focused == index;
    if (focused) drawFocus(_canvas, row, theme::kRadiusMedium, alpha);
    const platform::Color color = focused ? theme::kTextOnFocus : theme::kText;
    const double check = _canvas.textScaled(theme::kPanelCheckSize);
    if (_list.selected == index) {
      _canvas.shape(
          {ShapeKind::Check, color, 0, 0},
          _mirror({row.x + theme::kPanelRowPadding, row.y + (row.height - check) / 2, check, check},
                  row),
          alpha);
    }
    const double height = _textHeight();
    const Rect place = _mirror({row.x + theme::kPanelRowPadding + _indent(),
                                row.y + (row.height - height) / 2, _textWidth(), height},
                               row);
    _canvas.text(_option(index, color), place, true, Canvas::Vertical::Center, alpha);
  }

  void _drawScrollBar(const Rect& bar, const Rows& rows, float alpha) const {
    const auto share = [&](std::size_t count) {
      const auto end = _heights.begin() + static_cast<std::ptrdiff_t>(count);
      return std::accumulate(_heights.begin(), end, 0.0) /
             std::accumulate(_heights.begin(), _heights.end(), 0.0);
    };
    constexpr double kRound = theme::kScrollBarWidth / 2;
    _canvas.shape({ShapeKind::RoundedRectangle, theme::kScrollBar, kRound, 0}, bar, alpha);
    _canvas.shape({ShapeKind::RoundedRectangle, theme::kScrollThumb, kRound, 0},
                  {bar.x, bar.y + share(rows.first) * bar.height, bar.width,
                   (share(rows.last) - share(rows.first)) * bar.height},
                  alpha);
  }

  Canvas& _canvas;
  const OptionListElement& _list;
  bool _mirrored = false;
  double _width = 0;
  std::vector<double> _heights;  // one per row
};

/// Distributes `room` over columns of the given natural widths. Space that narrow columns do not
/// need goes to wide ones.
std::vector<double> columnWidths(std::vector<double> natural, double room) {
  std::vector<std::size_t> order(natural.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(),
            [&](std::size_t a, std::size_t b) { return natural[a] < natural[b]; });
  auto left = static_cast<double>(order.size());
  for (const std::size_t index : order) {
    natural[index] = std::min(natural[index], room / left);
    room -= natural[index];
    left -= 1;
  }
  return natural;
}

}  // namespace

void drawElement(Canvas& canvas, const platform::OptionPanelElement& panel, const Rect& frame,
                 float alpha) {
  if (panel.lists.empty()) return;
  const Rect safe = safePart(frame);
  std::vector<List> lists;
  std::vector<double> natural;
  for (const OptionListElement& each : panel.lists) {
    if (lists.size() == theme::kMaxLists) break;
    lists.emplace_back(canvas, each);
    natural.push_back(std::clamp(lists.back().naturalWidth(),
                                 canvas.textScaled(theme::kPanelMinColumn),
                                 canvas.textScaled(theme::kPanelMaxColumn)));
  }
  const double gaps = static_cast<double>(lists.size() - 1) * theme::kPanelColumnGap;
  const double around = 2 * theme::kPanelPadding;
  const std::vector<double> widths = columnWidths(std::move(natural), safe.width - around - gaps);

  double height = 0;
  for (std::size_t i = 0; i < lists.size(); ++i) {
    lists[i].setWidth(widths[i]);
    height = std::max(height, lists[i].heightWithin(safe.height * theme::kPanelShare - around));
  }
  const double width = std::accumulate(widths.begin(), widths.end(), gaps + around);
  const Rect card{safe.x + (safe.width - width) / 2,
                  safe.y + safe.height - height - around + canvas.rise(alpha), width,
                  height + around};
  canvas.shape({ShapeKind::RoundedRectangle, theme::kCard, theme::kRadiusLarge, 0}, card, alpha);
  double x = card.x + theme::kPanelPadding;
  for (std::size_t i = 0; i < lists.size(); ++i) {
    lists[i].draw({x, card.y + theme::kPanelPadding, widths[i], height}, alpha);
    x += widths[i] + theme::kPanelColumnGap;
  }
}

}  // namespace box
