#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "box/screen/drawing/Theme.h"
#include "box/screen/elements/Controls.h"
#include "box/screen/elements/Elements.h"
#include "platform/foundation/Utf8.h"

namespace box {

using platform::Rect;
using platform::TextAlignment;
using platform::TextStyle;
using platform::TransportBarElement;
using platform::TransportState;

namespace {

bool isScanning(TransportState state) {
  return state == TransportState::ScanningForward || state == TransportState::ScanningBackward;
}

void drawIcon(Canvas& canvas, TransportState state, const Rect& place, float alpha) {
  const auto draw = [&](ShapeKind kind) { canvas.shape({kind, theme::kText, 0, 0}, place, alpha); };
  switch (state) {
    case TransportState::Loading:
      return;  // the spinner shows this state
    case TransportState::Playing:
      return draw(ShapeKind::Play);
    case TransportState::Paused:
      return draw(ShapeKind::Pause);
    case TransportState::ScanningForward:
      return draw(ShapeKind::FastForward);
    case TransportState::ScanningBackward:
      return draw(ShapeKind::Rewind);
  }
}

/// Draws chapter marks, except at the ends of the track.
void drawChapters(Canvas& canvas, const std::vector<double>& chapters, const Rect& track,
                  float alpha) {
  constexpr double kGap = theme::kChapterWidth + 2 * theme::kChapterGap;
  std::size_t count = 0;
  for (const double chapter : chapters) {
    const double x = track.width * chapter;
    if (!(x > kGap && x < track.width - kGap)) continue;
    if (++count > theme::kMaxChapters) return;
    canvas.fill({track.x + x - kGap / 2, track.y, kGap, track.height}, theme::kChapterGapColor,
                alpha);
    canvas.fill({track.x + x - theme::kChapterWidth / 2,
                 track.y + (track.height - theme::kChapterHeight) / 2, theme::kChapterWidth,
                 theme::kChapterHeight},
                theme::kText, alpha);
  }
}

double playheadX(const Rect& track, double played) {
  constexpr double kHalf = theme::kPlayheadSize / 2;
  return std::clamp(track.x + track.width * played, track.x + kHalf,
                    std::max(track.x + track.width - kHalf, track.x + kHalf));
}

void drawTrack(Canvas& canvas, const TransportBarElement& bar, double played, const Rect& track,
               float alpha) {
  const auto part = [](platform::Color color) {
    return Shape{ShapeKind::RoundedRectangle, color, theme::kTrackHeight / 2, 0};
  };
  canvas.shape(part(theme::kTrack), track, alpha);
  for (const auto& [from, to] : bar.loaded) {
    // The played part covers this one.
    canvas.shapePart(part(theme::kTrackLoaded), track, std::max(from, played), to, alpha);
  }
  canvas.shapePart(part(theme::kTrackPlayed), track, 0, played, alpha);
  drawChapters(canvas, bar.chapters, track, alpha);
  constexpr double kSize = theme::kPlayheadSize;
  canvas.shape(
      {ShapeKind::Disc, theme::kTrackPlayed, 0, 0},
      {playheadX(track, played) - kSize / 2, track.y + track.height / 2 - kSize / 2, kSize, kSize},
      alpha);
}

double widthOf(Canvas& canvas, TextRun run) {
  run.width = platform::kScreenWidth;
  // measure() rounds, so add some space.
  return std::ceil(canvas.measure(run).width) + 2;
}

/// Places items in a row from its left edge or, if mirrored, from its right edge.
class Row {
 public:
  Row(const Rect& place, bool mirrored) : _place(place), _mirrored(mirrored) {}

  /// Returns the rectangle of the next item, vertically centered, and advances by width and gap.
  Rect next(double width, double height, double gap) {
    const double x = _mirrored ? _place.x + _place.width - _used - width : _place.x + _used;
    _used += width + gap;
    return {x, _place.y + (_place.height - height) / 2, width, height};
  }
  double left() const { return std::max(_place.width - _used, 0.0); }

 private:
  const Rect _place;
  const bool _mirrored;
  double _used = 0;
};

/// A short text on a background, such as "LIVE".
class Badge {
 public:
  Badge(Canvas& canvas, const std::string& word)
      : _canvas(canvas),
        _label(canvas.styled(word, TextStyle::Caption, theme::kText, TextAlignment::Center)) {
    _label.bold = true;
    if (!word.empty()) _width = widthOf(canvas, _label) + 2 * theme::kBadgePadding;
  }
  double width() const { return _width; }
  double height() const { return _canvas.textScaled(theme::kBadgeHeight); }
  void draw(const Rect& place, platform::Color color, float alpha) const {
    if (!(_width > 0)) return;
    _canvas.shape({ShapeKind::RoundedRectangle, color, theme::kRadiusSmall, 0}, place, alpha);
    _canvas.text(_label, place, false, Canvas::Vertical::Center, alpha);
  }

 private:
  Canvas& _canvas;
  TextRun _label;
  double _width = 0;
};

/// Draws icon, title and state text. The space of the icon is reserved even without an icon, so
/// that the title does not move when loading ends.
void drawHeading(Canvas& canvas, const TransportBarElement& bar, Row row, float alpha) {
  const double icon = canvas.textScaled(theme::kIconSize);
  drawIcon(canvas, bar.state, row.next(icon, icon, theme::kIconGap), alpha);
  TextRun title = canvas.styled(bar.title, TextStyle::Headline, theme::kText);
  const Badge badge(canvas, bar.stateText);
  double width = row.left();
  if (badge.width() > 0)
    width = std::min(widthOf(canvas, title), width - badge.width() - theme::kBadgeGap);
  if (!bar.title.empty())
    canvas.text(std::move(title),
                row.next(width, canvas.textScaled(theme::kTitleHeight), theme::kBadgeGap), false,
                Canvas::Vertical::Center, alpha);
  badge.draw(row.next(badge.width(), badge.height(), 0), theme::kBadge, alpha);
}

/// Draws the seek position above the playhead, preceded by the direction and by the rate of a scan
/// or the length of a skip.
void drawSeek(Canvas& canvas, const TransportBarElement& bar, const TransportBarTexts& texts,
              const TransportBarLayout& layout, float alpha) {
  TransportState icon = bar.state;
  if (!isScanning(icon) && !bar.skipText.empty())
    icon = bar.skipped < 0 ? TransportState::ScanningBackward : TransportState::ScanningForward;
  const bool hasIcon = isScanning(icon);
  const std::string& amountText = isScanning(bar.state) ? texts.rate : bar.skipText;
  TextRun amount = canvas.styled(amountText, TextStyle::Headline, theme::kText);
  TextRun time = canvas.styled(texts.seekPosition, TextStyle::Title, theme::kText);
  const double iconSize = canvas.textScaled(theme::kIconSize);
  const double amountWidth = amountText.empty() ? 0 : widthOf(canvas, amount);
  const double timeWidth = widthOf(canvas, time);
  const double before = (hasIcon ? iconSize + theme::kIconGap : 0) +
                        (amountText.empty() ? 0 : amountWidth + theme::kRateGap);
  const Rect& place = layout.seek;
  const double x = playheadX(layout.track, texts.played) - timeWidth / 2 - before;
  const double width = before + timeWidth;
  const double left = std::clamp(x, place.x, std::max(place.x + place.width - width, place.x));
  Row row({left, place.y, width, place.height}, false);
  if (hasIcon) drawIcon(canvas, icon, row.next(iconSize, iconSize, theme::kIconGap), alpha);
  if (!amountText.empty())
    canvas.text(std::move(amount), row.next(amountWidth, place.height, theme::kRateGap), false,
                Canvas::Vertical::Center, alpha);
  canvas.text(std::move(time), row.next(timeWidth, place.height, 0), false,
              Canvas::Vertical::Center, alpha);
}

/// Draws the live badge, and left of it the button that returns to the live edge.
void drawLive(Canvas& canvas, const TransportBarElement& bar, const std::string& badgeText,
              const Rect& times, float alpha) {
  Row row(times, true);
  const bool behind = !bar.goToLiveText.empty();
  const Badge badge(canvas, badgeText);
  const double height = badge.height();
  badge.draw(row.next(badge.width(), height, theme::kSpace3), behind ? theme::kBadge : theme::kLive,
             alpha);
  if (!behind) return;
  TextRun words = canvas.styled(bar.goToLiveText, TextStyle::Caption, theme::kText);
  words.bold = true;
  const Rect button = row.next(widthOf(canvas, words) + 2 * theme::kButtonPadding, height, 0);
  drawButton(canvas, bar.goToLiveText, TextStyle::Caption, button, bar.goToLiveFocused, alpha);
}

}  // namespace

TransportBarTexts transportBarTexts(const TransportBarElement& bar) {
  TransportBarTexts texts;
  const bool known = bar.duration && std::isfinite(*bar.duration) && *bar.duration > 0;
  const double elapsed = std::isfinite(bar.elapsed) ? std::max(bar.elapsed, 0.0) : -1;
  // While seeking, the position is shown above the playhead only.
  (bar.seeking ? texts.seekPosition : texts.left) = platform::clockText(elapsed);
  if (bar.live) {
    texts.right = bar.liveText;
  } else if (known) {
    // Round down first, so that elapsed and remaining time add up to the displayed duration.
    const double remaining =
        std::max(std::floor(*bar.duration) - std::floor(std::max(elapsed, 0.0)), 0.0);
    texts.right = (remaining > 0 ? "-" : "") + platform::clockText(remaining);
  }
  if (known) {
    texts.played = std::clamp(elapsed / *bar.duration, 0.0, 1.0);
  } else if (bar.live) {
    texts.played = 1;
  }
  if (isScanning(bar.state)) {
    char rate[32];
    std::snprintf(rate, sizeof rate, "%.3g×", std::abs(bar.rate));
    if (std::isfinite(bar.rate)) texts.rate = rate;
  }
  return texts;
}

TransportBarLayout transportBarLayout(const Rect& frame, double textSize) {
  const Rect safe = safePart(frame);
  double bottom = safe.y + safe.height;
  const auto above = [&](double gap, double height) {
    bottom -= gap + height;
    return Rect{safe.x, bottom, safe.width, height};
  };
  TransportBarLayout layout;
  layout.times = above(0, theme::kTimesHeight * textSize);
  layout.track = above(theme::kTrackGap, theme::kTrackHeight);
  const double trackTop = bottom;
  layout.title = above(theme::kTitleGap, theme::kTitleHeight * textSize);
  bottom = trackTop;
  layout.seek = above(theme::kTitleGap, theme::kSeekHeight * textSize);
  const double top = bottom - theme::kScrimFade;
  layout.scrim = {frame.x, top, frame.width, frame.y + frame.height - top};
  return layout;
}

void drawElement(Canvas& canvas, const TransportBarElement& bar, const Rect& frame, float alpha) {
  const TransportBarTexts texts = transportBarTexts(bar);
  const TransportBarLayout layout = transportBarLayout(frame, canvas.textSize());
  canvas.scrim(layout.scrim, theme::kScrimFade, alpha);

  if (bar.seeking) {
    drawSeek(canvas, bar, texts, layout, alpha);
  } else {
    // The title starts at the side where its language starts. The track is never mirrored.
    const bool mirrored = platform::runsRightToLeft(bar.title.empty() ? bar.stateText : bar.title);
    drawHeading(canvas, bar, Row(layout.title, mirrored), alpha);
  }
  drawTrack(canvas, bar, texts.played, layout.track, alpha);

  const auto time = [&](const std::string& text, platform::Color color, TextAlignment alignment) {
    canvas.text(canvas.styled(text, TextStyle::Caption, color, alignment), layout.times, false,
                Canvas::Vertical::Center, alpha);
  };
  time(texts.left, theme::kText, TextAlignment::Leading);
  if (bar.live) {
    drawLive(canvas, bar, texts.right, layout.times, alpha);
  } else {
    time(texts.right, theme::kTextDim, TextAlignment::Trailing);
  }
}

}  // namespace box
