#include <algorithm>
#include <utility>

#include "box/screen/Controls.h"
#include "box/screen/Elements.h"
#include "box/screen/Theme.h"

namespace box {

using platform::OptionListElement;
using platform::Rect;
using platform::TextAlignment;

namespace {

/// Where the rows of a list are cut off, for a list of `count` that shows `visible` at a time: what
/// counts stays in the middle as far as the ends allow.
std::size_t firstRow(const OptionListElement& list, std::size_t count, std::size_t visible) {
  if (count <= visible) return 0;
  const std::size_t middle = std::min(list.focused.value_or(list.selected.value_or(0)), count - 1);
  return std::min(middle - std::min(middle, visible / 2), count - visible);
}

/// One list, laid out in the direction of its language. The order of the lists is not: left and
/// right of the remote go from one to the next.
class List {
 public:
  List(Canvas& canvas, const OptionListElement& list, const Rect& place, std::size_t rows,
       float alpha)
      : _canvas(canvas), _list(list), _place(place), _rows(rows), _alpha(alpha) {
    const bool untitled = list.title.empty();
    _mirrored = runsRightToLeft(untitled && !list.options.empty() ? list.options[0] : list.title);
  }

  void draw() const {
    const double heading = _canvas.grown(theme::kPanelHeadingHeight);
    TextRun title = _canvas.styled(_list.title, platform::TextStyle::Caption, theme::kTextDim,
                                   _alignment(_list.title));
    title.bold = true;
    const double inset = theme::kPanelRowPadding;
    const Rect titlePlace{_place.x + inset, _place.y, _place.width - 2 * inset,
                          heading - theme::kSpace2};
    _canvas.text(_canvas.fitted(std::move(title), titlePlace, false), titlePlace, false,
                 Canvas::Vertical::Center, _alpha);

    const std::size_t count = _list.options.size();
    const std::size_t first = firstRow(_list, count, _rows);
    const double height = _canvas.grown(theme::kPanelRowHeight);
    const double step = height + theme::kPanelRowGap;
    const bool scrolls = count > _rows;
    const double barSpace = scrolls ? theme::kScrollBarWidth + theme::kSpace3 : 0;
    const double top = _place.y + heading;
    for (std::size_t i = first; i < std::min(first + _rows, count); ++i) {
      _drawRow(i, _mirror({_place.x, top + static_cast<double>(i - first) * step,
                           _place.width - barSpace, height}));
    }
    if (!scrolls) return;
    const double length = static_cast<double>(_rows) * step - theme::kPanelRowGap;
    const double share = static_cast<double>(_rows) / static_cast<double>(count);
    const double from = static_cast<double>(first) / static_cast<double>(count);
    const Rect bar = _mirror(
        {_place.x + _place.width - theme::kScrollBarWidth, top, theme::kScrollBarWidth, length});
    constexpr double kRound = theme::kScrollBarWidth / 2;
    _canvas.shape({ShapeKind::RoundedRectangle, theme::kScrollBar, kRound, 0}, bar, _alpha);
    _canvas.shape({ShapeKind::RoundedRectangle, theme::kScrollThumb, kRound, 0},
                  {bar.x, bar.y + from * length, bar.width, share * length}, _alpha);
  }

 private:
  Rect _mirror(const Rect& rect) const {
    if (!_mirrored) return rect;
    return {2 * _place.x + _place.width - rect.x - rect.width, rect.y, rect.width, rect.height};
  }

  /// The side where the list's language starts, whatever the text's own direction.
  TextAlignment _alignment(const std::string& text) const {
    return runsRightToLeft(text) == _mirrored ? TextAlignment::Leading : TextAlignment::Trailing;
  }

  void _drawRow(std::size_t index, const Rect& row) const {
    const bool focused = _list.focused == index;
    if (focused) drawFocus(_canvas, row, theme::kRadiusMedium, _alpha);
    const platform::Color color = focused ? theme::kTextOnFocus : theme::kText;
    const double check = _canvas.grown(theme::kPanelCheckSize);
    const Rect inner{row.x + theme::kPanelRowPadding, row.y,
                     row.width - 2 * theme::kPanelRowPadding, row.height};
    const double indent = check + theme::kPanelCheckGap;
    const double left = _mirrored ? inner.x + inner.width - check : inner.x;
    if (_list.selected == index) {
      _canvas.shape({ShapeKind::Check, color, 0, 0},
                    {left, row.y + (row.height - check) / 2, check, check}, _alpha);
    }
    const std::string& text = _list.options[index];
    const Rect place{_mirrored ? inner.x : inner.x + indent, inner.y, inner.width - indent,
                     inner.height};
    TextRun run = _canvas.styled(text, platform::TextStyle::Body, color, _alignment(text));
    run.bold = _list.selected == index;
    // Where rows are high, a long one has two lines.
    _canvas.text(_canvas.fitted(std::move(run), place, true), place, true, Canvas::Vertical::Center,
                 _alpha);
  }

  Canvas& _canvas;
  const OptionListElement& _list;
  const Rect _place;
  const std::size_t _rows;
  const float _alpha;
  bool _mirrored = false;
};

}  // namespace

void drawElement(Canvas& canvas, const platform::OptionPanelElement& panel, const Rect& frame,
                 float alpha) {
  if (panel.lists.empty()) return;
  const Rect safe = safePart(frame);
  const std::size_t columns = std::min(panel.lists.size(), theme::kMostLists);
  std::size_t longest = 1;
  for (std::size_t i = 0; i < columns; ++i)
    longest = std::max(longest, panel.lists[i].options.size());

  const double step = canvas.grown(theme::kPanelRowHeight) + theme::kPanelRowGap;
  const double around =
      2 * theme::kPanelPadding + canvas.grown(theme::kPanelHeadingHeight) - theme::kPanelRowGap;
  const double most = (safe.height * theme::kPanelShare - around) / step;
  const std::size_t fitting =
      std::clamp<std::size_t>(most < 1 ? 1 : static_cast<std::size_t>(most), 1, theme::kPanelRows);
  const std::size_t rows = std::min(longest, fitting);

  const double height = around + static_cast<double>(rows) * step;
  const Rect card{safe.x, safe.y + safe.height - height + canvas.rise(alpha), safe.width, height};
  canvas.shape({ShapeKind::RoundedRectangle, theme::kCard, theme::kRadiusLarge, 0}, card, alpha);

  const auto count = static_cast<double>(columns);
  const double width =
      (card.width - 2 * theme::kPanelPadding - (count - 1) * theme::kPanelColumnGap) / count;
  for (std::size_t i = 0; i < columns; ++i) {
    const double x =
        card.x + theme::kPanelPadding + static_cast<double>(i) * (width + theme::kPanelColumnGap);
    const Rect place{x, card.y + theme::kPanelPadding, width, height - 2 * theme::kPanelPadding};
    List(canvas, panel.lists[i], place, rows, alpha).draw();
  }
}

}  // namespace box
