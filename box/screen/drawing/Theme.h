#pragma once

#include "platform/foundation/queues/Clock.h"
#include "platform/ui/scene/Geometry.h"
#include "platform/ui/scene/Scene.h"

/// The design system: all colours, sizes and durations of the user interface.
///
/// Lengths are points of the 1920 by 1080 scene, which the canvas scales to the display. Colours
/// are sRGB. Everything must be legible from a sofa: dark backgrounds, high contrast, no text below
/// 28 points. Elements that hold text scale with the user's text size, others do not.
namespace box::theme {

using platform::Color;

// Text.
/// Noto Sans has one family per script. Without this list fontconfig may choose any family with the
/// script. The CJK families are not listed: fontconfig chooses among them by language.
inline constexpr const char* kFontFamilies =
    "Noto Sans, Noto Sans Arabic, Noto Sans Hebrew, Noto Sans Devanagari, Noto Sans Bengali, "
    "Noto Sans Gurmukhi, Noto Sans Gujarati, Noto Sans Oriya, Noto Sans Tamil, Noto Sans Telugu, "
    "Noto Sans Kannada, Noto Sans Malayalam, Noto Sans Sinhala, Noto Sans Thai, Noto Sans Lao, "
    "Noto Sans Khmer, Noto Sans Myanmar, Noto Sans Armenian, Noto Sans Georgian, "
    "Noto Sans Ethiopic, Sans";
inline constexpr double kMinFontSize = 28;
/// Longer text is truncated.
inline constexpr long kTextLimit = 2000;
/// Range of the user's text scale.
inline constexpr double kMinTextSize = 1.0;
inline constexpr double kMaxTextSize = 1.5;

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

// Spacing, from the smallest to the largest.
inline constexpr double kSpace1 = 8;
inline constexpr double kSpace2 = 12;
inline constexpr double kSpace3 = 20;
inline constexpr double kSpace4 = 28;
inline constexpr double kSpace5 = 40;
inline constexpr double kSpace6 = 56;

// Corner radii.
inline constexpr double kRadiusSmall = 10;
inline constexpr double kRadiusMedium = 20;
inline constexpr double kRadiusLarge = 36;

// Text colours.
inline constexpr Color kText{0.96F, 0.96F, 0.97F, 1};
inline constexpr Color kTextDim{0.74F, 0.75F, 0.78F, 1};
inline constexpr Color kTextOnFocus{0.07F, 0.07F, 0.09F, 1};
inline constexpr Color kTextOutline{0, 0, 0, 0.9F};

// Background colours.
/// Gradient below the transport bar: at the lower edge of the screen, and at the top of its text.
inline constexpr Color kScrim{0, 0, 0, 0.9F};
inline constexpr Color kScrimUnderText{0, 0, 0, 0.72F};
/// Covers the scene below an alert.
inline constexpr Color kDim{0, 0, 0, 0.62F};
inline constexpr Color kBlurDarkening{0.02F, 0.02F, 0.03F, 0.72F};
inline constexpr Color kCard{0.105F, 0.11F, 0.13F, 1};
/// Background of buttons on a card or scrim.
inline constexpr Color kButton{1, 1, 1, 0.10F};
/// The focused element is bright and has a ring.
inline constexpr Color kFocus{0.96F, 0.96F, 0.97F, 1};
inline constexpr Color kFocusRing{0.36F, 0.62F, 1, 1};
inline constexpr double kFocusRingWidth = 4;
inline constexpr double kFocusRingGap = 4;
inline constexpr double kFocusRingOutset = kFocusRingWidth + kFocusRingGap;

// Motion. The animations of the scene fade elements in and out. Cards also rise into place.
inline constexpr double kRise = 28;
inline constexpr platform::Duration kSpinnerPeriod = std::chrono::milliseconds(1100);
/// Period of the pulse that replaces the spinner with reduced motion.
inline constexpr platform::Duration kSpinnerPulse = std::chrono::milliseconds(2400);

/// Easing curve (smoothstep) from 0 to 1.
constexpr double eased(double at) { return at * at * (3 - 2 * at); }

// Subtitles. Lengths are fractions of the video's height, widths of its width.
inline constexpr double kSubtitleOutline = 0.0035;
inline constexpr double kSubtitleMargin = 0.06;
inline constexpr double kSubtitleHeight = 0.4;
inline constexpr double kSubtitleWidth = 0.8;
inline constexpr double kSubtitleMinWidth = 0.1;
/// Padding of a line's background at both ends, as a fraction of the font size.
inline constexpr double kSubtitlePadding = 0.18;
inline constexpr Color kSubtitle{1, 1, 1, 1};

// Controls.
inline constexpr double kButtonHeight = 84;
inline constexpr double kButtonGap = kSpace3;
inline constexpr double kButtonPadding = kSpace4;

// The transport bar, from bottom to top.
inline constexpr double kTimesHeight = 64;
/// Keeps the focus ring of a button below the track away from the playhead.
inline constexpr double kTrackGap = kSpace3;
inline constexpr double kTrackHeight = 10;
inline constexpr double kTitleGap = kSpace4;
inline constexpr double kTitleHeight = 64;
/// Height of the time that is shown while seeking.
inline constexpr double kSeekHeight = 96;
inline constexpr double kIconSize = 44;
inline constexpr double kIconGap = kSpace4;
inline constexpr double kRateGap = kSpace4;
/// Height over which the scrim fades out above the text.
inline constexpr double kScrimFade = 340;
inline constexpr double kPlayheadSize = 30;
inline constexpr Color kTrack{1, 1, 1, 0.24F};
inline constexpr Color kTrackLoaded{1, 1, 1, 0.36F};
inline constexpr Color kTrackPlayed = kText;
/// A chapter mark: a line across a gap in the track.
inline constexpr double kChapterWidth = 4;
inline constexpr double kChapterHeight = 22;
inline constexpr double kChapterGap = 3;
inline constexpr Color kChapterGapColor{0, 0, 0, 0.8F};
inline constexpr std::size_t kMaxChapters = 100;
/// Badges such as "live" or "paused", and the button that returns to the live edge.
inline constexpr double kBadgeHeight = 48;
inline constexpr double kBadgePadding = kSpace3;
inline constexpr double kBadgeGap = kSpace4;
inline constexpr Color kBadge{1, 1, 1, 0.16F};
inline constexpr Color kLive{0.78F, 0.11F, 0.14F, 1};

// Cards: alerts, and messages in place of video.
inline constexpr double kCardWidth = 960;
inline constexpr double kCardPadding = kSpace6;
inline constexpr double kCardGap = kSpace4;
/// Gap between text and buttons.
inline constexpr double kCardGapAboveButtons = kSpace5 + kSpace1;
/// Maximum height of the title and of the buttons, as fractions of the safe area's height.
inline constexpr double kCardTitleShare = 0.3;
inline constexpr double kCardButtonsShare = 0.55;
inline constexpr std::size_t kMaxButtons = 5;
inline constexpr double kMessageWidth = 1160;
inline constexpr double kMessageHintShare = 0.3;

// The option panel.
inline constexpr double kPanelPadding = kSpace5;
inline constexpr double kPanelColumnGap = kSpace6;
inline constexpr double kPanelHeadingHeight = 60;
inline constexpr double kPanelRowHeight = 72;
inline constexpr double kPanelRowGap = kFocusRingOutset + 2;
inline constexpr double kPanelRowPadding = kSpace3;
inline constexpr double kPanelRowPaddingY = kSpace1;
/// Height of three lines. Longer names end in an ellipsis.
inline constexpr double kPanelMaxTextHeight = 164;
inline constexpr double kPanelMinColumn = 420;
inline constexpr double kPanelMaxColumn = 760;
inline constexpr double kPanelCheckSize = 36;
inline constexpr double kPanelCheckGap = kSpace3;
inline constexpr double kPanelShare = 0.72;  ///< maximum fraction of the safe area's height
inline constexpr std::size_t kPanelRows = 6;
inline constexpr std::size_t kMaxLists = 4;
inline constexpr double kScrollBarWidth = 6;
inline constexpr Color kScrollBar{1, 1, 1, 0.12F};
inline constexpr Color kScrollThumb{1, 1, 1, 0.5F};

// The boxes of a PIN.
inline constexpr double kDigitWidth = 148;
inline constexpr double kDigitHeight = 188;
inline constexpr double kDigitGap = kSpace4;
inline constexpr double kDigitRadius = 24;
inline constexpr double kDigitLine = 3;
/// Fraction of the box's height.
inline constexpr double kDigitTextShare = 0.56;
/// Gap between the title and the boxes.
inline constexpr double kDigitsTitleGap = kSpace6;
/// Maximum fraction of the height above the boxes.
inline constexpr double kDigitsTitleShare = 0.5;
inline constexpr std::size_t kMaxDigits = 32;
inline constexpr Color kDigitBox = kButton;
inline constexpr Color kDigitOutline{1, 1, 1, 0.26F};

// The spinner.
inline constexpr double kSpinnerSize = 112;
/// Size of a spinner with text in its center.
inline constexpr double kSpinnerSizeAroundText = 152;
/// Backing that keeps the spinner visible on bright pictures; its size as a multiple of the
/// spinner's.
inline constexpr double kSpinnerBackingShare = 1.6;
inline constexpr Color kSpinnerBacking{0, 0, 0, 0.72F};
inline constexpr int kSpinnerDots = 10;
inline constexpr double kSpinnerDotShare = 0.13;
/// Minimum opacity of the dots in the tail, and exponent of its fade.
inline constexpr double kSpinnerMinBrightness = 0.16;
inline constexpr double kSpinnerTailExponent = 2.2;

}  // namespace box::theme
