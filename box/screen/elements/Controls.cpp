#include "box/screen/elements/Controls.h"

#include <algorithm>
#include <utility>

#include "box/screen/drawing/Theme.h"

namespace box {

using platform::Rect;

Rect safePart(const Rect& frame) {
  const double marginX = platform::kScreenWidth * platform::kSafeAreaFraction;
  const double marginY = platform::kScreenHeight * platform::kSafeAreaFraction;
  const double left = std::max(frame.x, marginX);
  const double top = std::max(frame.y, marginY);
  const double right = std::min(frame.x + frame.width, platform::kScreenWidth - marginX);
  const double bottom = std::min(frame.y + frame.height, platform::kScreenHeight - marginY);
  return {left, top, std::max(right - left, 0.0), std::max(bottom - top, 0.0)};
}

void drawFocus(Canvas& canvas, const Rect& place, double radius, float alpha) {
  constexpr double kOut = theme::kFocusRingOutset;
  canvas.shape({ShapeKind::Outline, theme::kFocusRing, radius + kOut, theme::kFocusRingWidth},
               {place.x - kOut, place.y - kOut, place.width + 2 * kOut, place.height + 2 * kOut},
               alpha);
  canvas.shape({ShapeKind::RoundedRectangle, theme::kFocus, radius, 0}, place, alpha);
}

void drawButton(Canvas& canvas, const std::string& title, platform::TextStyle style,
                const Rect& place, bool focused, float alpha) {
  const double radius = std::min(theme::kRadiusMedium, place.height / 2);
  if (focused) {
    drawFocus(canvas, place, radius, alpha);
  } else {
    canvas.shape({ShapeKind::RoundedRectangle, theme::kButton, radius, 0}, place, alpha);
  }
  TextRun label = canvas.styled(title, style, focused ? theme::kTextOnFocus : theme::kText,
                                platform::TextAlignment::Center);
  label.bold = true;
  const Rect inner{place.x + radius, place.y, place.width - 2 * radius, place.height};
  canvas.text(canvas.fitted(std::move(label), inner, false), inner, false, Canvas::Vertical::Center,
              alpha);
}

CardText layOutCardText(Canvas& canvas, const std::string& text, platform::TextStyle style,
                        platform::Color color, double width, double height) {
  const TextRun styled = canvas.styled(text, style, color, platform::TextAlignment::Center);
  CardText result{canvas.balanced(canvas.fitted(styled, {0, 0, width, height}, true))};
  const TextExtent extent = canvas.measure(result.run);
  result.width = extent.width;
  result.height = std::min(extent.height, height);
  return result;
}

void drawCardText(Canvas& canvas, const CardText& text, double middleX, double top, float alpha) {
  // Use the area of the measurement. An area of exactly the text's height could truncate it.
  canvas.text(text.run, {middleX - text.run.width / 2, top, text.run.width, text.run.height}, true,
              Canvas::Vertical::Top, alpha);
}

}  // namespace box
