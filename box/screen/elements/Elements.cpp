#include "box/screen/elements/Elements.h"

#include <algorithm>
#include <string>
#include <vector>

#include <glib.h>

#include "box/screen/drawing/Theme.h"
#include "box/screen/elements/Controls.h"

namespace box {

using platform::Rect;

namespace {

/// Splits text into at most `limit` user-perceived characters.
std::vector<std::string> characters(const std::string& text, std::size_t limit) {
  std::vector<std::string> result;
  gchar* valid =
      g_utf8_make_valid(text.data(), static_cast<gssize>(std::min<std::size_t>(text.size(), 1024)));
  for (const gchar* at = valid; *at && result.size() < limit;) {
    const gchar* next = g_utf8_next_char(at);
    // Keep combining marks with their base character.
    while (*next && g_unichar_ismark(g_utf8_get_char(next))) next = g_utf8_next_char(next);
    result.emplace_back(at, next);
    at = next;
  }
  g_free(valid);
  return result;
}

}  // namespace

void drawElement(Canvas& canvas, const platform::FillElement& fill, const Rect& frame,
                 float alpha) {
  canvas.fill(frame, fill.color, alpha);
}

void drawElement(Canvas& canvas, const platform::TextElement& text, const Rect& frame,
                 float alpha) {
  TextRun run = canvas.styled(text.text, text.style, text.color, text.alignment);
  canvas.text(canvas.fitted(std::move(run), frame, true), frame, true, Canvas::Vertical::Center,
              alpha);
}

void drawElement(Canvas& canvas, const platform::DigitsElement& digits, const Rect& frame,
                 float alpha) {
  const auto wanted =
      static_cast<std::size_t>(std::clamp(digits.boxes, 1, static_cast<int>(theme::kMaxDigits)));
  const std::vector<std::string> texts = characters(digits.text, theme::kMaxDigits);
  const auto rowWidth = [](std::size_t count) {
    return static_cast<double>(count) * theme::kDigitWidth +
           static_cast<double>(count - 1) * theme::kDigitGap;
  };
  const std::size_t count = std::max(wanted, texts.size());
  const Rect safe = safePart(frame);
  const double fit =
      std::min({safe.width / rowWidth(count), safe.height / theme::kDigitHeight, 1.0});
  if (!(fit > 0)) return;
  const double width = theme::kDigitWidth * fit;
  const double height = theme::kDigitHeight * fit;

  const CardText title =
      layOutCardText(canvas, digits.title, platform::TextStyle::Title, digits.titleColor,
                     safe.width, (safe.height - height) * theme::kDigitsTitleShare);
  // Center by the ink of the title, not by its line height.
  const TextExtent extent = canvas.measure(title.run);
  const double gap = digits.title.empty() ? 0 : theme::kDigitsTitleGap;
  const double top = frame.y + (frame.height - extent.inkHeight - gap - height) / 2;
  drawCardText(canvas, title, frame.x + frame.width / 2, top - extent.inkTop, alpha);
  double x = frame.x + (frame.width - rowWidth(count) * fit) / 2;
  const double y = top + extent.inkHeight + gap;
  for (std::size_t i = 0; i < count; ++i) {
    const Rect place{x, y, width, height};
    canvas.shape({ShapeKind::RoundedRectangle, theme::kDigitBox, theme::kDigitRadius * fit, 0},
                 place, alpha);
    canvas.shape(
        {ShapeKind::Outline, theme::kDigitOutline, theme::kDigitRadius * fit, theme::kDigitLine},
        place, alpha);
    if (i < texts.size()) {
      canvas.text({texts[i], std::max(height * theme::kDigitTextShare, theme::kMinFontSize), true,
                   theme::kText, platform::TextAlignment::Center, 0, 0},
                  place, false, Canvas::Vertical::Center, alpha);
    }
    x += width + theme::kDigitGap * fit;
  }
}

}  // namespace box
