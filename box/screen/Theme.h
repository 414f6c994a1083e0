#pragma once

#include "platform/foundation/Clock.h"
#include "platform/ui/Geometry.h"
#include "platform/ui/Scene.h"

/// How everything on screen looks, in one place. Lengths are points of the 1920 by 1080 scene;
/// colours are sRGB. Read from a sofa: dark and calm behind, high contrast in front, no text under
/// 28 points.
namespace box::theme {

using platform::Color;

// Text.
inline constexpr const char* kFontFamilies = "Noto Sans, DejaVu Sans, Sans";
inline constexpr double kSmallestText = 28;
/// A text is drawn up to this length; nobody reads more on a television.
inline constexpr long kTextLimit = 2000;

struct TextLook {
  double size;  ///< of the font, in points of the scene
  bool bold;
};
constexpr TextLook look(platform::TextStyle style) {
  switch (style) {
    case platform::TextStyle::Title:
      return {68, true};
    case platform::TextStyle::Headline:
      return {46, true};
    case platform::TextStyle::Body:
      return {36, false};
    case platform::TextStyle::Caption:
      break;
  }
  return {30, false};
}

// Colours.
inline constexpr Color kText{0.96F, 0.96F, 0.97F, 1};
inline constexpr Color kTextDim{0.74F, 0.75F, 0.78F, 1};
inline constexpr Color kTextOnFocus{0.07F, 0.07F, 0.09F, 1};
inline constexpr Color kScrim{0, 0, 0, 0.86F};
inline constexpr Color kDim{0, 0, 0, 0.62F};
inline constexpr Color kBlurDarkening{0.02F, 0.02F, 0.03F, 0.55F};

// Subtitles; lengths are shares of the video's height, but for the width.
inline constexpr double kSubtitleSize = 0.045;
inline constexpr double kSubtitleOutline = 0.0035;
inline constexpr double kSubtitleMargin = 0.06;
inline constexpr double kSubtitleHeight = 0.4;
inline constexpr double kSubtitleWidth = 0.8;
inline constexpr Color kSubtitle{1, 1, 1, 1};
inline constexpr Color kTextOutline{0, 0, 0, 0.9F};

// The transport bar, from its lower edge upwards.
inline constexpr double kScrimHeight = 420;
inline constexpr double kTimesHeight = 44;
inline constexpr double kTimesWidth = 320;
inline constexpr double kTrackGap = 20;
inline constexpr double kTrackHeight = 10;
inline constexpr double kTitleGap = 28;
inline constexpr double kTitleHeight = 64;
inline constexpr double kIconSize = 44;
inline constexpr double kIconGap = 26;
inline constexpr double kRateWidth = 130;
inline constexpr double kPlayheadSize = 30;
inline constexpr Color kTrack{1, 1, 1, 0.22F};
inline constexpr Color kTrackLoaded{1, 1, 1, 0.34F};
inline constexpr Color kTrackPlayed{0.96F, 0.96F, 0.97F, 1};
inline constexpr Color kLiveBadge{0.86F, 0.16F, 0.18F, 1};
inline constexpr double kLiveBadgeWidth = 104;
inline constexpr double kLiveBadgeRadius = 10;

// The alert.
inline constexpr double kCardWidth = 960;
inline constexpr double kCardPadding = 56;
inline constexpr double kCardRadius = 36;
inline constexpr double kCardGap = 28;
inline constexpr double kCardMessageLimit = 420;
inline constexpr Color kCard{0.125F, 0.13F, 0.15F, 0.98F};
inline constexpr double kButtonHeight = 88;
inline constexpr double kButtonGap = 24;
inline constexpr double kButtonRadius = 20;
inline constexpr Color kButton{1, 1, 1, 0.10F};
inline constexpr Color kButtonFocused{0.96F, 0.96F, 0.97F, 1};
inline constexpr double kFocusRing = 5;
inline constexpr double kFocusRingGap = 7;
inline constexpr Color kFocusRingColor{0.36F, 0.62F, 1, 1};

// The row of boxes for a code.
inline constexpr double kDigitWidth = 150;
inline constexpr double kDigitHeight = 190;
inline constexpr double kDigitGap = 30;
inline constexpr double kDigitRadius = 24;
inline constexpr double kDigitLine = 3;
/// Of the box's height.
inline constexpr double kDigitTextShare = 0.56;
inline constexpr Color kDigitBox{1, 1, 1, 0.10F};
inline constexpr Color kDigitOutline{1, 1, 1, 0.26F};

// The spinner.
inline constexpr double kSpinnerSize = 112;
/// Beneath it, so that it is seen on a bright picture.
inline constexpr Color kSpinnerBacking{0, 0, 0, 0.42F};
inline constexpr double kSpinnerBackingSize = 200;
inline constexpr int kSpinnerDots = 10;
inline constexpr double kSpinnerDotShare = 0.15;
inline constexpr platform::Duration kSpinnerTurn = std::chrono::milliseconds(1100);

}  // namespace box::theme
