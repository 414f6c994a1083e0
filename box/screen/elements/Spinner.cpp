#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "box/screen/drawing/Theme.h"
#include "box/screen/elements/Elements.h"

namespace box {

using platform::Rect;

namespace {

/// Returns the phase of a periodic animation, from 0 to 1.
double phaseOf(platform::Duration sinceStart, platform::Duration turn) {
  const auto inTurn = (sinceStart % turn + turn) % turn;
  return static_cast<double>(inTurn.count()) / static_cast<double>(turn.count());
}

Rect inMiddle(const Rect& frame, double size) {
  return {frame.x + (frame.width - size) / 2, frame.y + (frame.height - size) / 2, size, size};
}

void drawSpinner(Canvas& canvas, const Rect& place, platform::Duration sinceStart, float alpha) {
  const double size = std::min(place.width, place.height);
  const double dot = size * theme::kSpinnerDotShare;
  const double radius = (size - dot) / 2;
  const double middleX = place.x + place.width / 2;
  const double middleY = place.y + place.height / 2;
  const double phase = phaseOf(sinceStart, theme::kSpinnerPeriod);
  const double breath = std::abs(2 * phaseOf(sinceStart, theme::kSpinnerPulse) - 1);
  for (int i = 0; i < theme::kSpinnerDots; ++i) {
    const double share = static_cast<double>(i) / theme::kSpinnerDots;
    const double angle = 2 * std::numbers::pi * (share - 0.25);
    // The first dot is the brightest; the tail fades.
    const double behind = phase - share - std::floor(phase - share);
    const double strength = canvas.reducedMotion()
                                ? theme::eased(breath)
                                : std::pow(1 - behind, theme::kSpinnerTailExponent);
    const double brightness =
        theme::kSpinnerMinBrightness + (1 - theme::kSpinnerMinBrightness) * strength;
    canvas.shape({ShapeKind::Disc, theme::kText, 0, 0},
                 {middleX + radius * std::cos(angle) - dot / 2,
                  middleY + radius * std::sin(angle) - dot / 2, dot, dot},
                 alpha * static_cast<float>(brightness));
  }
}

}  // namespace

void drawElement(Canvas& canvas, const platform::SpinnerElement& spinner, const Rect& frame,
                 platform::TimePoint now, float alpha) {
  // With text the size does not depend on the frame.
  const double size = spinner.text.empty()
                          ? std::min({frame.width, frame.height, theme::kSpinnerSize})
                          : canvas.textScaled(theme::kSpinnerSizeAroundText);
  canvas.shape({ShapeKind::Disc, theme::kSpinnerBacking, 0, 0},
               inMiddle(frame, size * theme::kSpinnerBackingShare), alpha);
  const Rect ring = inMiddle(frame, size);
  drawSpinner(canvas, ring, now - spinner.started, alpha);
  if (spinner.text.empty()) return;
  TextRun text = canvas.styled(spinner.text, platform::TextStyle::Caption, theme::kText,
                               platform::TextAlignment::Center);
  text.bold = true;
  const Rect inner = inMiddle(frame, size * (1 - 2 * theme::kSpinnerDotShare));
  canvas.text(canvas.fitted(std::move(text), inner, false), inner, false, Canvas::Vertical::Center,
              alpha);
}

}  // namespace box
