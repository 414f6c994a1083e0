#include "box/screen/Elements.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include <glib.h>

namespace box {

using platform::Rect;

namespace {

TextRun styled(std::string text, platform::TextStyle style, platform::Color color) {
  const theme::TextLook look = theme::look(style);
  return {std::move(text), look.size, look.bold, color, platform::TextAlignment::Center, 0, 0};
}

/// The characters as people count them, a few at most.
std::vector<std::string> characters(const std::string& text, std::size_t limit) {
  std::vector<std::string> result;
  gchar* valid =
      g_utf8_make_valid(text.data(), static_cast<gssize>(std::min<std::size_t>(text.size(), 1024)));
  for (const gchar* at = valid; *at && result.size() < limit;) {
    const gchar* next = g_utf8_next_char(at);
    // Marks stay with the character that they belong to.
    while (*next && g_unichar_ismark(g_utf8_get_char(next))) next = g_utf8_next_char(next);
    result.emplace_back(at, next);
    at = next;
  }
  g_free(valid);
  return result;
}

void drawButton(Canvas& canvas, const std::string& title, const Rect& place, bool focused,
                float alpha) {
  if (focused) {
    const double out = theme::kFocusRing + theme::kFocusRingGap;
    const Rect ring{place.x - out, place.y - out, place.width + 2 * out, place.height + 2 * out};
    canvas.shape(
        {ShapeKind::Outline, theme::kFocusRingColor, theme::kButtonRadius + out, theme::kFocusRing},
        ring, alpha);
  }
  canvas.shape({ShapeKind::RoundedRectangle, focused ? theme::kButtonFocused : theme::kButton,
                theme::kButtonRadius, 0},
               place, alpha);
  TextRun label =
      styled(title, platform::TextStyle::Body, focused ? theme::kTextOnFocus : theme::kText);
  label.bold = true;
  const double inset = theme::kButtonRadius;
  canvas.text(std::move(label), {place.x + inset, place.y, place.width - 2 * inset, place.height},
              false, Canvas::Vertical::Center, alpha);
}

}  // namespace

void drawElement(Canvas& canvas, const platform::FillElement& fill, const Rect& frame,
                 float alpha) {
  canvas.fill(frame, fill.color, alpha);
}

void drawElement(Canvas& canvas, const platform::TextElement& text, const Rect& frame,
                 float alpha) {
  TextRun run = styled(text.text, text.style, text.color);
  run.alignment = text.alignment;
  canvas.text(std::move(run), frame, true, Canvas::Vertical::Center, alpha);
}

void drawElement(Canvas& canvas, const platform::DigitsElement& digits, const Rect& frame,
                 float alpha) {
  constexpr std::size_t kMost = 32;
  const auto wanted =
      static_cast<std::size_t>(std::clamp(digits.boxes, 1, static_cast<int>(kMost)));
  const std::vector<std::string> texts = characters(digits.text, kMost);
  const auto rowWidth = [](std::size_t count) {
    return static_cast<double>(count) * theme::kDigitWidth +
           static_cast<double>(count - 1) * theme::kDigitGap;
  };
  const std::size_t count = std::max(wanted, texts.size());
  // More characters than boxes: the row keeps its width, its boxes shrink.
  const double fit = std::min({rowWidth(wanted) / rowWidth(count), frame.width / rowWidth(count),
                               frame.height / theme::kDigitHeight, 1.0});
  if (!(fit > 0)) return;
  const double width = theme::kDigitWidth * fit;
  const double height = theme::kDigitHeight * fit;
  double x = frame.x + (frame.width - rowWidth(count) * fit) / 2;
  const double y = frame.y + (frame.height - height) / 2;
  for (std::size_t i = 0; i < count; ++i) {
    const Rect place{x, y, width, height};
    canvas.shape({ShapeKind::RoundedRectangle, theme::kDigitBox, theme::kDigitRadius * fit, 0},
                 place, alpha);
    canvas.shape(
        {ShapeKind::Outline, theme::kDigitOutline, theme::kDigitRadius * fit, theme::kDigitLine},
        place, alpha);
    if (i < texts.size()) {
      canvas.text({texts[i], std::max(height * theme::kDigitTextShare, theme::kSmallestText), true,
                   theme::kText, platform::TextAlignment::Center, 0, 0},
                  place, false, Canvas::Vertical::Center, alpha);
    }
    x += width + theme::kDigitGap * fit;
  }
}

void drawElement(Canvas& canvas, const platform::AlertElement& alert, const Rect& frame,
                 float alpha) {
  canvas.fill(frame, theme::kDim, alpha);

  const double textWidth = theme::kCardWidth - 2 * theme::kCardPadding;
  TextRun title = styled(alert.title, platform::TextStyle::Headline, theme::kText);
  title.width = textWidth;
  title.height = theme::kCardMessageLimit / 2;
  TextRun message = styled(alert.message, platform::TextStyle::Body, theme::kTextDim);
  message.width = textWidth;
  message.height = theme::kCardMessageLimit;
  const double titleHeight = std::min(canvas.textHeight(title), title.height);
  const double messageHeight = std::min(canvas.textHeight(message), message.height);

  const auto buttons = std::min<std::size_t>(alert.buttons.size(), 5);
  const bool sideBySide = buttons == 2;
  const std::size_t rows = sideBySide ? 1 : buttons;
  const double gapAfterTitle = titleHeight > 0 && messageHeight > 0 ? theme::kCardGap : 0;
  const double gapAfterText =
      rows > 0 && titleHeight + messageHeight > 0 ? 1.7 * theme::kCardGap : 0;
  const double buttonsHeight = rows == 0 ? 0
                                         : static_cast<double>(rows) * theme::kButtonHeight +
                                               static_cast<double>(rows - 1) * theme::kButtonGap;
  const double height = 2 * theme::kCardPadding + titleHeight + gapAfterTitle + messageHeight +
                        gapAfterText + buttonsHeight;
  const Rect card{frame.x + (frame.width - theme::kCardWidth) / 2,
                  frame.y + (frame.height - height) / 2, theme::kCardWidth, height};
  canvas.shape({ShapeKind::RoundedRectangle, theme::kCard, theme::kCardRadius, 0}, card, alpha);

  const double x = card.x + theme::kCardPadding;
  double y = card.y + theme::kCardPadding;
  canvas.text(std::move(title), {x, y, textWidth, titleHeight + 1}, true, Canvas::Vertical::Top,
              alpha);
  y += titleHeight + gapAfterTitle;
  canvas.text(std::move(message), {x, y, textWidth, messageHeight + 1}, true, Canvas::Vertical::Top,
              alpha);
  y += messageHeight + gapAfterText;
  const double buttonWidth = sideBySide ? (textWidth - theme::kButtonGap) / 2 : textWidth;
  for (std::size_t i = 0; i < buttons; ++i) {
    const auto step = static_cast<double>(i);
    const Rect place{sideBySide ? x + step * (buttonWidth + theme::kButtonGap) : x,
                     sideBySide ? y : y + step * (theme::kButtonHeight + theme::kButtonGap),
                     buttonWidth, theme::kButtonHeight};
    drawButton(canvas, alert.buttons[i], place, i == alert.focusedButton, alpha);
  }
}

void drawSubtitle(Canvas& canvas, const std::string& text, const platform::Rect& frame,
                  float alpha) {
  const double height = frame.height * theme::kSubtitleHeight;
  const double width = frame.width * theme::kSubtitleWidth;
  const platform::Rect area{frame.x + (frame.width - width) / 2,
                            frame.y + frame.height * (1 - theme::kSubtitleMargin) - height, width,
                            height};
  canvas.text({.text = text,
               .size = frame.height * theme::kSubtitleSize,
               .color = theme::kSubtitle,
               .alignment = platform::TextAlignment::Center,
               .outline = frame.height * theme::kSubtitleOutline},
              area, true, Canvas::Vertical::Bottom, alpha);
}

void drawElement(Canvas& canvas, const platform::SpinnerElement& spinner, const Rect& frame,
                 platform::TimePoint now, float alpha) {
  const double size = std::min({frame.width, frame.height, theme::kSpinnerBackingSize});
  canvas.shape(
      {ShapeKind::Disc, theme::kSpinnerBacking, 0, 0},
      {frame.x + (frame.width - size) / 2, frame.y + (frame.height - size) / 2, size, size}, alpha);
  drawSpinner(canvas, frame, now - spinner.started, alpha);
}

void drawSpinner(Canvas& canvas, const Rect& frame, platform::Duration sinceStart, float alpha) {
  const double size = std::min({frame.width, frame.height, theme::kSpinnerSize});
  const double dot = size * theme::kSpinnerDotShare;
  const double radius = (size - dot) / 2;
  const double middleX = frame.x + frame.width / 2;
  const double middleY = frame.y + frame.height / 2;
  const platform::Duration turn = theme::kSpinnerTurn;
  const auto inTurn = (sinceStart % turn + turn) % turn;
  const double phase = static_cast<double>(inTurn.count()) / static_cast<double>(turn.count());
  for (int i = 0; i < theme::kSpinnerDots; ++i) {
    const double place = static_cast<double>(i) / theme::kSpinnerDots;
    const double angle = 2 * std::numbers::pi * (place - 0.25);
    // The head is brightest, its tail fades.
    const double behind = phase - place - std::floor(phase - place);
    const double brightness = 0.16 + 0.84 * std::pow(1 - behind, 2.2);
    canvas.shape({ShapeKind::Disc, theme::kText, 0, 0},
                 {middleX + radius * std::cos(angle) - dot / 2,
                  middleY + radius * std::sin(angle) - dot / 2, dot, dot},
                 alpha * static_cast<float>(brightness));
  }
}

}  // namespace box
