#include <algorithm>

#include "box/screen/drawing/Theme.h"
#include "box/screen/elements/Controls.h"
#include "box/screen/elements/Elements.h"

namespace box {

using platform::Rect;

void drawElement(Canvas& canvas, const platform::AlertElement& alert, const Rect& frame,
                 float alpha) {
  canvas.fill(frame, theme::kDim, alpha);

  const Rect safe = safePart(frame);
  const double cardWidth = std::min(canvas.textScaled(theme::kCardWidth), safe.width);
  const double textWidth = cardWidth - 2 * theme::kCardPadding;

  const std::size_t buttons = std::min(alert.buttons.size(), theme::kMaxButtons);
  const bool sideBySide = buttons == 2;
  const auto rows = static_cast<double>(sideBySide ? 1 : buttons);
  const double gaps = std::max(rows - 1, 0.0) * theme::kButtonGap;
  const double buttonHeight = rows > 0
                                  ? std::min(canvas.textScaled(theme::kButtonHeight),
                                             (safe.height * theme::kCardButtonsShare - gaps) / rows)
                                  : 0;
  const double buttonsHeight = rows * buttonHeight + gaps;

  const double room = safe.height - 2 * theme::kCardPadding - theme::kCardGap -
                      theme::kCardGapAboveButtons - buttonsHeight;
  const CardText title =
      layOutCardText(canvas, alert.title, platform::TextStyle::Headline, theme::kText, textWidth,
                     safe.height * theme::kCardTitleShare);
  const CardText message = layOutCardText(canvas, alert.message, platform::TextStyle::Body,
                                          theme::kTextDim, textWidth, room - title.height);

  const double gapAfterTitle = title.height > 0 && message.height > 0 ? theme::kCardGap : 0;
  const double gapAfterText =
      rows > 0 && title.height + message.height > 0 ? theme::kCardGapAboveButtons : 0;
  const double height = 2 * theme::kCardPadding + title.height + gapAfterTitle + message.height +
                        gapAfterText + buttonsHeight;
  const Rect card{frame.x + (frame.width - cardWidth) / 2,
                  frame.y + (frame.height - height) / 2 + canvas.rise(alpha), cardWidth, height};
  canvas.shape({ShapeKind::RoundedRectangle, theme::kCard, theme::kRadiusLarge, 0}, card, alpha);

  const double x = card.x + theme::kCardPadding;
  double y = card.y + theme::kCardPadding;
  const double middle = card.x + card.width / 2;
  drawCardText(canvas, title, middle, y, alpha);
  y += title.height + gapAfterTitle;
  drawCardText(canvas, message, middle, y, alpha);
  y += message.height + gapAfterText;
  const double buttonWidth = sideBySide ? (textWidth - theme::kButtonGap) / 2 : textWidth;
  for (std::size_t i = 0; i < buttons; ++i) {
    // Buttons are ordered left to right in every language, to match the remote's left and right.
    const auto step = static_cast<double>(i);
    const Rect place{sideBySide ? x + step * (buttonWidth + theme::kButtonGap) : x,
                     sideBySide ? y : y + step * (buttonHeight + theme::kButtonGap), buttonWidth,
                     buttonHeight};
    drawButton(canvas, alert.buttons[i], platform::TextStyle::Body, place, i == alert.focusedButton,
               alpha);
  }
}

}  // namespace box
