#include <algorithm>

#include "box/screen/drawing/Theme.h"
#include "box/screen/elements/Controls.h"
#include "box/screen/elements/Elements.h"

namespace box {

using platform::Rect;

void drawElement(Canvas& canvas, const platform::MessageElement& message, const Rect& frame,
                 float alpha) {
  if (message.text.empty() && message.hint.empty()) return;
  const Rect safe = safePart(platform::kScreenBounds);
  constexpr double kPadding = theme::kCardPadding;
  const double most = std::min(canvas.textScaled(theme::kMessageWidth), safe.width) - 2 * kPadding;
  const double room = safe.height - 2 * kPadding - theme::kCardGap;

  const CardText hint = layOutCardText(canvas, message.hint, platform::TextStyle::Body,
                                       theme::kTextDim, most, room * theme::kMessageHintShare);
  const CardText text = layOutCardText(canvas, message.text, platform::TextStyle::Headline,
                                       theme::kText, most, room - hint.height);

  const double gap = message.text.empty() || message.hint.empty() ? 0 : theme::kCardGap;
  const double width = std::max(text.width, hint.width) + 2 * kPadding;
  const double height = text.height + gap + hint.height + 2 * kPadding;
  // Centered in its frame, but within the safe area.
  const auto place = [](double middle, double length, double low, double high) {
    return std::max(std::min(middle - length / 2, high - length), low);
  };
  const Rect card{
      place(frame.x + frame.width / 2, width, safe.x, safe.x + safe.width),
      place(frame.y + frame.height / 2, height, safe.y, safe.y + safe.height) + canvas.rise(alpha),
      width, height};
  canvas.shape({ShapeKind::RoundedRectangle, theme::kCard, theme::kRadiusLarge, 0}, card, alpha);
  const double middle = card.x + card.width / 2;
  const double y = card.y + kPadding;
  drawCardText(canvas, text, middle, y, alpha);
  drawCardText(canvas, hint, middle, y + text.height + gap, alpha);
}

}  // namespace box
