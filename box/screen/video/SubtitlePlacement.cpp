#include "box/screen/video/SubtitlePlacement.h"

#include <algorithm>
#include <cmath>

#include "box/screen/drawing/Theme.h"

namespace box {
namespace {

using Anchor = media::CueAnchor;
using Writing = media::CueLayout::Writing;

float shareBefore(Anchor anchor) {
  return anchor == Anchor::Top ? 0 : anchor == Anchor::Middle ? 0.5F : 1;
}

/// Places a range of this size within a larger one.
float clampInto(float position, float size, float first, float last) {
  return std::clamp(position, first, std::max(first, last - size));
}

}  // namespace

bool isAtLastLine(const media::CueLayout& layout) {
  return !layout.region && !layout.y && layout.line.value_or(-1) < 0;
}

SubtitlePlacement::SubtitlePlacement(const SubtitleFrame& frame, float heightAtTop,
                                     float heightAtBottom)
    : _frame(frame) {
  const auto inset = static_cast<float>(platform::kSafeAreaFraction);
  const SDL_FRect& area = frame.area;
  _left = area.x + inset * area.w;
  _right = area.x + area.w - inset * area.w;
  _top = area.y + inset * area.h;
  const float margin = std::max(static_cast<float>(theme::kSubtitleMargin) * area.h, frame.covered);
  _bottom = area.y + area.h - margin;
  // Lines at an edge are all placed outside or all inside the picture, never across its edge.
  const SDL_FRect& picture = frame.picture;
  const float pictureBottom = picture.y + picture.h;
  if (_top + heightAtTop > picture.y) _top = std::max(_top, picture.y + inset * picture.h);
  if (_bottom - heightAtBottom < pictureBottom) {
    const float inside = static_cast<float>(theme::kSubtitleMargin) * picture.h;
    _bottom = std::min(_bottom, pictureBottom - inside);
  }
}

SDL_FRect SubtitlePlacement::place(const media::CueLayout& layout, const SubtitlePicture& text) {
  if (layout.writing != Writing::Horizontal) return _placeVertical(layout, text);
  const auto height = static_cast<float>(text.boxHeight);
  const auto width = static_cast<float>(text.boxWidth);
  const SDL_FRect& area = _frame.area;
  float x = area.x + (area.w - width) / 2;
  if (layout.left) x = _frame.picture.x + static_cast<float>(*layout.left) * _frame.picture.w;
  // Clamp by the ink, not by the line box.
  const auto inkLeft = static_cast<float>(text.x);
  const auto inkWidth = static_cast<float>(text.width);
  x = clampInto(x + inkLeft, inkWidth, _left, _right) - inkLeft;
  SDL_FRect rect{x + inkLeft, _topOf(layout, text), inkWidth, height};
  rect.y = clampInto(rect.y, height, _top, _bottom);
  const bool downwards = !isAtLastLine(layout) && layout.anchor == Anchor::Top;
  _avoidOverlaps(rect, {&SDL_FRect::y, &SDL_FRect::h, _top, _bottom}, downwards);
  _occupied.push_back(rect);
  return {std::round(x), std::round(rect.y), width, height};
}

SDL_FRect SubtitlePlacement::_placeVertical(const media::CueLayout& layout,
                                            const SubtitlePicture& text) {
  const auto height = static_cast<float>(text.boxHeight);
  const auto width = static_cast<float>(text.boxWidth);
  const SDL_FRect& area = _frame.area;
  float y = area.y + (area.h - height) / 2;
  if (layout.left) y = _frame.picture.y + static_cast<float>(*layout.left) * _frame.picture.h;
  const auto inkTop = static_cast<float>(text.y);
  const auto inkHeight = static_cast<float>(text.height);
  y = clampInto(y + inkTop, inkHeight, _top, _bottom) - inkTop;
  SDL_FRect rect{_leftOf(layout, text), y + inkTop, width, inkHeight};
  rect.x = clampInto(rect.x, width, _left, _right);
  const bool isAtRight =
      layout.y ? layout.anchor != Anchor::Top
               : (layout.writing == Writing::VerticalToRight) == (layout.line.value_or(-1) < 0);
  _avoidOverlaps(rect, {&SDL_FRect::x, &SDL_FRect::w, _left, _right}, !isAtRight);
  _occupied.push_back(rect);
  return {std::round(rect.x), std::round(y), width, height};
}

float SubtitlePlacement::_topOf(const media::CueLayout& layout, const SubtitlePicture& text) const {
  const auto height = static_cast<float>(text.boxHeight);
  if (layout.y)
    return _frame.picture.y + static_cast<float>(*layout.y) * _frame.picture.h -
           height * shareBefore(layout.anchor);
  const auto line = static_cast<float>(layout.line.value_or(-1));
  const auto lineDepth = static_cast<float>(text.lineDepth);
  // The number is that of the first line; the text moves up until its last line fits.
  return line >= 0 ? _top + line * lineDepth
                   : std::min(_bottom + line * lineDepth, _bottom - height);
}

/// Of vertical text.
float SubtitlePlacement::_leftOf(const media::CueLayout& layout,
                                 const SubtitlePicture& text) const {
  const auto width = static_cast<float>(text.boxWidth);
  if (layout.y)
    return _frame.picture.x + static_cast<float>(*layout.y) * _frame.picture.w -
           width * shareBefore(layout.anchor);
  const auto line = static_cast<float>(layout.line.value_or(-1));
  const auto lineDepth = static_cast<float>(text.lineDepth);
  if (layout.writing == Writing::VerticalToRight)
    return line >= 0 ? _left + line * lineDepth
                     : std::min(_right + line * lineDepth, _right - width);
  return line >= 0 ? _right - line * lineDepth - width
                   : std::max(_left - line * lineDepth - width, _left);
}

/// Returns false if there is no space in this direction.
bool SubtitlePlacement::_moveAway(SDL_FRect& rect, const Axis& axis, bool forwards) const {
  for (std::size_t tries = 0; tries <= _occupied.size(); ++tries) {
    const auto other = std::find_if(_occupied.begin(), _occupied.end(), [&](const SDL_FRect& each) {
      return rect.x < each.x + each.w - 1 && each.x < rect.x + rect.w - 1 &&
             rect.y < each.y + each.h - 1 && each.y < rect.y + rect.h - 1;
    });
    const float position = rect.*axis.position;
    if (position < axis.first - 1 || position + rect.*axis.size > axis.last + 1) return false;
    if (other == _occupied.end()) return true;
    const SDL_FRect& obstacle = *other;
    rect.*axis.position = forwards ? obstacle.*axis.position + obstacle.*axis.size
                                   : obstacle.*axis.position - rect.*axis.size;
  }
  return false;
}

void SubtitlePlacement::_avoidOverlaps(SDL_FRect& rect, const Axis& axis, bool forwards) const {
  for (const bool direction : {forwards, !forwards}) {
    SDL_FRect moved = rect;
    if (!_moveAway(moved, axis, direction)) continue;
    rect = moved;
    return;
  }
}

}  // namespace box
