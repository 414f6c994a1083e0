#include "media/captions/Cea708Window.h"

#include <algorithm>
#include <utility>

#include "media/captions/CaptionText.h"
#include "media/output/SubtitleStyles.h"

namespace media {
namespace {

/// The area that anchors refer to: the inner four fifths of the picture, with 15 rows of 42
/// columns.
constexpr double kSafeBegin = 0.1;
constexpr double kSafeSize = 0.8;
constexpr double kRowHeight = kSafeSize / 15;
constexpr double kColumnWidth = kSafeSize / 42;
constexpr std::size_t kMaxPenSpans = 64;

bool isInk(char16_t character) {
  return character != 0 && character != u' ' && character != u'\u00a0';
}

}  // namespace

void Cea708Window::define(const Definition& definition) {
  _definition = definition;
  _definition.rows = std::clamp<std::size_t>(definition.rows, 1, kMaxRows);
  _definition.columns = std::clamp<std::size_t>(definition.columns, 1, kMaxColumns);
  _rows.resize(_definition.rows);
  for (Row& each : _rows) each.resize(_definition.columns);
  if (!std::exchange(_isDefined, true)) _row = _column = 0;
  moveTo(_row, _column);
}

void Cea708Window::moveTo(std::size_t row, std::size_t column) {
  if (!_isDefined) return;
  _row = std::min(row, _definition.rows - 1);
  _column = std::min(column, _definition.columns);
}

void Cea708Window::write(char16_t character) {
  if (!_isDefined) return;
  // A row that is full continues in the next row, also if the window has no word wrap.
  if (_column == _definition.columns) carriageReturn();
  _rows[_row][_column++] = {character, _pen};
}

void Cea708Window::backspace() {
  if (_isDefined && _column > 0) _rows[_row][--_column] = {};
}

void Cea708Window::clear() {
  for (Row& each : _rows) std::fill(each.begin(), each.end(), Cell());
  _row = _column = 0;
}

void Cea708Window::carriageReturn() {
  if (!_isDefined) return;
  _column = 0;
  if (_row + 1 < _definition.rows) {
    ++_row;
    return;
  }
  std::rotate(_rows.begin(), _rows.begin() + 1, _rows.end());
  std::fill(_rows.back().begin(), _rows.back().end(), Cell());
}

void Cea708Window::restartRow() {
  if (!_isDefined) return;
  std::fill(_rows[_row].begin(), _rows[_row].end(), Cell());
  _column = 0;
}

std::optional<Cea708Window::Bounds> Cea708Window::_bounds() const {
  std::optional<Bounds> bounds;
  for (std::size_t row = 0; row < _rows.size(); ++row)
    for (std::size_t column = 0; column < _rows[row].size(); ++column) {
      if (!isInk(_rows[row][column].character)) continue;
      if (!bounds) bounds = Bounds{row, row, column, column};
      bounds->bottom = row;
      bounds->left = std::min(bounds->left, column);
      bounds->right = std::max(bounds->right, column);
    }
  return bounds;
}

void Cea708Window::_appendRow(const Row& row, const Bounds& bounds, SubtitleCue& cue) const {
  const auto hasInk = [](const Cell& cell) { return isInk(cell.character); };
  const auto end = std::find_if(row.rbegin(), row.rend(), hasInk).base();
  auto cell = row.begin();
  // The indentation of a row matters if the rows are aligned at the left.
  if (_justification == Justification::Left || _justification == Justification::Full)
    cell += static_cast<std::ptrdiff_t>(std::min(bounds.left, row.size()));
  else
    cell = std::find_if(row.begin(), row.end(), hasInk);
  for (; cell < end; ++cell) {
    const std::size_t begin = cue.text.size();
    appendCaptionCharacter(cue.text, cell->character != 0 ? cell->character : u' ');
    const Cea708Pen& pen = cell->pen;
    if (cell->character == 0 || pen == Cea708Pen()) continue;
    SubtitleSpan span;
    span.begin = begin;
    span.end = cue.text.size();
    span.look.color = pen.color;
    span.look.background = pen.background;
    if (pen.italic) span.look.italic = true;
    if (pen.underline) span.look.underline = true;
    if (!cue.spans.empty() && cue.spans.back().end == begin && cue.spans.back().look == span.look)
      cue.spans.back().end = span.end;
    else if (cue.spans.size() < kMaxPenSpans)
      cue.spans.push_back(std::move(span));
  }
}

void Cea708Window::_place(const Bounds& bounds, CueLayout& layout) const {
  const int side = _definition.anchor % 3;   // left, center, right
  const int level = _definition.anchor / 3;  // top, middle, bottom
  const double width = static_cast<double>(_definition.columns) * kColumnWidth;
  const double height = static_cast<double>(_definition.rows) * kRowHeight;
  const double left = kSafeBegin + kSafeSize * _definition.x - width * side / 2;
  const double top = kSafeBegin + kSafeSize * _definition.y - height * level / 2;
  const auto columnAt = [&](double column) { return left + column * kColumnWidth; };
  const auto rowAt = [&](std::size_t row) { return top + static_cast<double>(row) * kRowHeight; };
  using Alignment = CueLayout::Alignment;
  const bool isCentered = _justification == Justification::Center;
  const bool isRight = _justification == Justification::Right;
  // Where letters have another width than a column, the middle of the text stays where it is.
  const double middle = isCentered || isRight
                            ? columnAt(static_cast<double>(_definition.columns) / 2)
                            : columnAt(static_cast<double>(bounds.left + bounds.right + 1) / 2);
  layout.alignment = isRight ? Alignment::Right : Alignment::Center;
  if (!isCentered && !isRight) layout.rowAlignment = Alignment::Left;
  setPosition(layout, isRight ? left + width : middle, 1, layout.alignment);
  layout.anchor = level == 0 ? CueAnchor::Top : level == 1 ? CueAnchor::Middle : CueAnchor::Bottom;
  layout.y = level == 0   ? rowAt(bounds.top)
             : level == 1 ? (rowAt(bounds.top) + rowAt(bounds.bottom + 1)) / 2
                          : rowAt(bounds.bottom + 1);
  layout.y = std::clamp(*layout.y, 0.0, 1.0);
}

SubtitleCue Cea708Window::cue() const {
  SubtitleCue cue;
  const auto bounds = isVisible() ? _bounds() : std::nullopt;
  if (!bounds) return cue;
  for (std::size_t row = bounds->top; row <= bounds->bottom; ++row) {
    if (row > bounds->top) cue.text += '\n';
    _appendRow(_rows[row], *bounds, cue);
  }
  _place(*bounds, cue.layout);
  return cue;
}

}  // namespace media
