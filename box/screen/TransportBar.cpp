#include <algorithm>
#include <cmath>
#include <cstdio>

#include "box/screen/Elements.h"

namespace box {

using platform::Rect;
using platform::TransportBarElement;
using platform::TransportState;

namespace {

/// What is left of `frame` inside the part of the screen that no television cuts off.
Rect safePart(const Rect& frame) {
  const double marginX = platform::kScreenWidth * platform::kSafeAreaFraction;
  const double marginY = platform::kScreenHeight * platform::kSafeAreaFraction;
  const double left = std::max(frame.x, marginX);
  const double top = std::max(frame.y, marginY);
  const double right = std::min(frame.x + frame.width, platform::kScreenWidth - marginX);
  const double bottom = std::min(frame.y + frame.height, platform::kScreenHeight - marginY);
  return {left, top, std::max(right - left, 0.0), std::max(bottom - top, 0.0)};
}

void drawIcon(Canvas& canvas, TransportState state, const Rect& place, platform::TimePoint now,
              float alpha) {
  switch (state) {
    case TransportState::Loading:
      drawSpinner(canvas, place, now.time_since_epoch(), alpha);
      return;
    case TransportState::Playing:
      canvas.shape({ShapeKind::Play, theme::kText, 0, 0}, place, alpha);
      return;
    case TransportState::Paused:
      canvas.shape({ShapeKind::Pause, theme::kText, 0, 0}, place, alpha);
      return;
    case TransportState::Stopped:
      canvas.shape({ShapeKind::Stop, theme::kText, 0, 0}, place, alpha);
      return;
    case TransportState::ScanningForward:
      canvas.shape({ShapeKind::FastForward, theme::kText, 0, 0}, place, alpha);
      return;
    case TransportState::ScanningBackward:
      canvas.shape({ShapeKind::Rewind, theme::kText, 0, 0}, place, alpha);
      return;
  }
}

void drawTrack(Canvas& canvas, const TransportBarElement& bar, double played, const Rect& track,
               float alpha) {
  const auto part = [](platform::Color color) {
    return Shape{ShapeKind::RoundedRectangle, color, theme::kTrackHeight / 2, 0};
  };
  canvas.shape(part(theme::kTrack), track, alpha);
  for (const auto& [from, to] : bar.loaded) {
    // What is played already lies on top.
    canvas.shapePart(part(theme::kTrackLoaded), track, std::max(from, played), to, alpha);
  }
  canvas.shapePart(part(theme::kTrackPlayed), track, 0, played, alpha);
  const double size = theme::kPlayheadSize;
  const double x =
      std::clamp(track.x + track.width * played - size / 2, track.x, track.x + track.width - size);
  canvas.shape({ShapeKind::Disc, theme::kTrackPlayed, 0, 0},
               {x, track.y + track.height / 2 - size / 2, size, size}, alpha);
}

TextRun caption(std::string text, platform::Color color, platform::TextAlignment alignment) {
  const theme::TextLook look = theme::look(platform::TextStyle::Caption);
  return {std::move(text), look.size, look.bold, color, alignment, 0, 0};
}

}  // namespace

TransportBarTexts transportBarTexts(const TransportBarElement& bar) {
  TransportBarTexts texts;
  const bool known = bar.duration && std::isfinite(*bar.duration) && *bar.duration > 0;
  const double elapsed = std::isfinite(bar.elapsed) ? std::max(bar.elapsed, 0.0) : -1;
  texts.left = platform::clockText(elapsed);
  if (bar.live) {
    texts.right = "LIVE";
  } else if (known) {
    // Whole seconds first: elapsed and remaining must add up to the duration that they show.
    const double remaining =
        std::max(std::floor(*bar.duration) - std::floor(std::max(elapsed, 0.0)), 0.0);
    texts.right = "-" + platform::clockText(remaining);
  }
  if (known) {
    texts.played = std::clamp(elapsed / *bar.duration, 0.0, 1.0);
  } else if (bar.live) {
    texts.played = 1;
  }
  if (bar.state == TransportState::ScanningForward ||
      bar.state == TransportState::ScanningBackward) {
    char rate[32];
    std::snprintf(rate, sizeof rate, "%.3g×", std::abs(bar.rate));
    if (std::isfinite(bar.rate)) texts.rate = rate;
  }
  return texts;
}

void drawTransportBar(Canvas& canvas, const TransportBarElement& bar, const Rect& frame,
                      platform::TimePoint now, float alpha) {
  using platform::TextAlignment;
  const Rect safe = safePart(frame);
  const TransportBarTexts texts = transportBarTexts(bar);
  const double frameBottom = frame.y + frame.height;
  canvas.shape({ShapeKind::Scrim, theme::kScrim, 0, 0},
               {frame.x, frameBottom - theme::kScrimHeight, frame.width, theme::kScrimHeight},
               alpha);

  const double timesTop = safe.y + safe.height - theme::kTimesHeight;
  const Rect track{safe.x, timesTop - theme::kTrackGap - theme::kTrackHeight, safe.width,
                   theme::kTrackHeight};
  const double titleTop = track.y - theme::kTitleGap - theme::kTitleHeight;

  drawIcon(canvas, bar.state,
           {safe.x, titleTop + (theme::kTitleHeight - theme::kIconSize) / 2, theme::kIconSize,
            theme::kIconSize},
           now, alpha);
  double x = safe.x + theme::kIconSize + theme::kIconGap;
  const theme::TextLook headline = theme::look(platform::TextStyle::Headline);
  if (!texts.rate.empty()) {
    canvas.text({texts.rate, headline.size, true, theme::kText, TextAlignment::Leading, 0, 0},
                {x, titleTop, theme::kRateWidth, theme::kTitleHeight}, false,
                Canvas::Vertical::Center, alpha);
    x += theme::kRateWidth;
  }
  canvas.text({bar.title, headline.size, headline.bold, theme::kText, TextAlignment::Leading, 0, 0},
              {x, titleTop, safe.x + safe.width - x, theme::kTitleHeight}, false,
              Canvas::Vertical::Center, alpha);

  drawTrack(canvas, bar, texts.played, track, alpha);

  canvas.text(caption(texts.left, theme::kText, TextAlignment::Leading),
              {safe.x, timesTop, theme::kTimesWidth, theme::kTimesHeight}, false,
              Canvas::Vertical::Center, alpha);
  const double right = safe.x + safe.width;
  if (bar.live) {
    const Rect badge{right - theme::kLiveBadgeWidth, timesTop, theme::kLiveBadgeWidth,
                     theme::kTimesHeight};
    canvas.shape({ShapeKind::RoundedRectangle, theme::kLiveBadge, theme::kLiveBadgeRadius, 0},
                 badge, alpha);
    TextRun label = caption(texts.right, theme::kText, TextAlignment::Center);
    label.size = theme::kSmallestText;
    label.bold = true;
    canvas.text(std::move(label), badge, false, Canvas::Vertical::Center, alpha);
  } else {
    canvas.text(caption(texts.right, theme::kTextDim, TextAlignment::Trailing),
                {right - theme::kTimesWidth, timesTop, theme::kTimesWidth, theme::kTimesHeight},
                false, Canvas::Vertical::Center, alpha);
  }
}

}  // namespace box
