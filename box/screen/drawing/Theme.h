#pragma once

#include "platform/foundation/queues/Clock.h"
#include "platform/ui/scene/Geometry.h"
#include "platform/ui/scene/Scene.h"

/// The design system: how everything on screen looks and moves. Nothing else in this folder holds a
/// colour, a size or a duration.
///
/// Lengths are points of the 1920 by 1080 scene, which the canvas scales to the display; colours
/// are sRGB. Read from a sofa: dark and calm behind, high contrast in front, no text under 28
/// points. What holds text grows with the size of text that the user chose; the rest does not.
namespace box::theme {

using platform::Color;

// Type.
/// Noto Sans has a family for each script. They are named here because fontconfig would otherwise
/// take any family that has the script. The Chinese, Japanese and Korean ones are not named:
/// fontconfig chooses among them by the language of the text.
inline constexpr const char* kFontFamilies =
    "Noto Sans, Noto Sans Arabic, Noto Sans Hebrew, Noto Sans Devanagari, Noto Sans Bengali, "
    "Noto Sans Gurmukhi, Noto Sans Gujarati, Noto Sans Oriya, Noto Sans Tamil, Noto Sans Telugu, "
    "Noto Sans Kannada, Noto Sans Malayalam, Noto Sans Sinhala, Noto Sans Thai, Noto Sans Lao, "
    "Noto Sans Khmer, Noto Sans Myanmar, Noto Sans Armenian, Noto Sans Georgian, "
    "Noto Sans Ethiopic, Sans";
inline constexpr double kSmallestText = 28;
/// A text is drawn up to this length; nobody reads more on a television.
inline constexpr long kTextLimit = 2000;
/// What the user may choose as the size of text.
inline constexpr double kLeastTextSize = 1.0;
inline constexpr double kMostTextSize = 1.5;

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

// Spacing, from what belongs together to what stands apart.
inline constexpr double kSpace1 = 8;
inline constexpr double kSpace2 = 12;
inline constexpr double kSpace3 = 20;
inline constexpr double kSpace4 = 28;
inline constexpr double kSpace5 = 40;
inline constexpr double kSpace6 = 56;

// Radii, from small things to large ones.
inline constexpr double kRadiusSmall = 10;
inline constexpr double kRadiusMedium = 20;
inline constexpr double kRadiusLarge = 36;

// Colours: what is written.
inline constexpr Color kText{0.96F, 0.96F, 0.97F, 1};
inline constexpr Color kTextDim{0.74F, 0.75F, 0.78F, 1};
inline constexpr Color kTextOnFocus{0.07F, 0.07F, 0.09F, 1};
inline constexpr Color kTextOutline{0, 0, 0, 0.9F};

// Colours: what it is written on.
/// Beneath the transport bar: at the lower edge of the screen, and where its texts begin.
inline constexpr Color kScrim{0, 0, 0, 0.9F};
inline constexpr Color kScrimUnderText{0, 0, 0, 0.72F};
/// Over everything that an alert interrupts.
inline constexpr Color kDim{0, 0, 0, 0.62F};
inline constexpr Color kBlurDarkening{0.02F, 0.02F, 0.03F, 0.72F};
inline constexpr Color kCard{0.105F, 0.11F, 0.13F, 1};
/// On a card or a scrim: what can be chosen.
inline constexpr Color kButton{1, 1, 1, 0.10F};
/// What has the focus is bright, and has a ring around it.
inline constexpr Color kFocus{0.96F, 0.96F, 0.97F, 1};
inline constexpr Color kFocusRing{0.36F, 0.62F, 1, 1};
inline constexpr double kFocusRingWidth = 4;
inline constexpr double kFocusRingGap = 4;
inline constexpr double kFocusRingOutset = kFocusRingWidth + kFocusRingGap;

// Motion. Appearing and disappearing is eased by the scene's own animations; what appears as a card
// rises into its place meanwhile.
inline constexpr double kRise = 28;
inline constexpr platform::Duration kSpinnerTurn = std::chrono::milliseconds(1100);
/// Where motion is reduced, the spinner breathes in place.
inline constexpr platform::Duration kSpinnerBreath = std::chrono::milliseconds(2400);

/// The easing of everything here, slow at both ends: from 0 to 1.
constexpr double eased(double at) { return at * at * (3 - 2 * at); }

// Subtitles; lengths are shares of the video's height, but for the width.
inline constexpr double kSubtitleSize = 0.045;
inline constexpr double kSubtitleOutline = 0.0035;
inline constexpr double kSubtitleMargin = 0.06;
inline constexpr double kSubtitleHeight = 0.4;
inline constexpr double kSubtitleWidth = 0.8;
inline constexpr double kSubtitleLeastWidth = 0.1;
/// Of a box behind letters, at both ends of a line; a share of their size.
inline constexpr double kSubtitlePadding = 0.18;
inline constexpr Color kSubtitle{1, 1, 1, 1};

// Controls.
inline constexpr double kButtonHeight = 84;
inline constexpr double kButtonGap = kSpace3;
inline constexpr double kButtonPadding = kSpace4;

// The transport bar, from its lower edge upwards.
inline constexpr double kTimesHeight = 64;
/// The focus ring of a button below the track must not come near the playhead.
inline constexpr double kTrackGap = kSpace3;
inline constexpr double kTrackHeight = 10;
inline constexpr double kTitleGap = kSpace4;
inline constexpr double kTitleHeight = 64;
/// Of the time that is shown while a place is looked for.
inline constexpr double kSeekHeight = 96;
inline constexpr double kIconSize = 44;
inline constexpr double kIconGap = kSpace4;
inline constexpr double kRateGap = kSpace4;
/// Above the texts the scrim fades out over this height.
inline constexpr double kScrimFade = 340;
inline constexpr double kPlayheadSize = 30;
inline constexpr Color kTrack{1, 1, 1, 0.24F};
inline constexpr Color kTrackLoaded{1, 1, 1, 0.36F};
inline constexpr Color kTrackPlayed = kText;
/// A chapter's mark: a line across the track in a gap of it.
inline constexpr double kChapterWidth = 4;
inline constexpr double kChapterHeight = 22;
inline constexpr double kChapterGap = 3;
inline constexpr Color kChapterGapColor{0, 0, 0, 0.8F};
inline constexpr std::size_t kMostChapters = 100;
/// A word such as "live" or "paused", and the way to the live edge.
inline constexpr double kBadgeHeight = 48;
inline constexpr double kBadgePadding = kSpace3;
inline constexpr double kBadgeGap = kSpace4;
inline constexpr Color kBadge{1, 1, 1, 0.16F};
inline constexpr Color kLive{0.78F, 0.11F, 0.14F, 1};

// Cards: the alert, and what there is to say in place of a picture.
inline constexpr double kCardWidth = 960;
inline constexpr double kCardPadding = kSpace6;
inline constexpr double kCardGap = kSpace4;
/// Between what is said and what can be chosen.
inline constexpr double kCardGapAboveButtons = kSpace5 + kSpace1;
/// Of the safe area's height.
inline constexpr double kCardTitleShare = 0.3;
inline constexpr double kCardButtonsShare = 0.55;
inline constexpr std::size_t kMostButtons = 5;
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
/// Three lines of a name; a longer one ends in an ellipsis.
inline constexpr double kPanelMostTextHeight = 164;
inline constexpr double kPanelLeastColumn = 420;
inline constexpr double kPanelMostColumn = 760;
inline constexpr double kPanelCheckSize = 36;
inline constexpr double kPanelCheckGap = kSpace3;
inline constexpr double kPanelShare = 0.72;  ///< of the safe area's height, at most
inline constexpr std::size_t kPanelRows = 6;
inline constexpr std::size_t kMostLists = 4;
inline constexpr double kScrollBarWidth = 6;
inline constexpr Color kScrollBar{1, 1, 1, 0.12F};
inline constexpr Color kScrollThumb{1, 1, 1, 0.5F};

// The row of boxes for a code.
inline constexpr double kDigitWidth = 148;
inline constexpr double kDigitHeight = 188;
inline constexpr double kDigitGap = kSpace4;
inline constexpr double kDigitRadius = 24;
inline constexpr double kDigitLine = 3;
/// Of the box's height.
inline constexpr double kDigitTextShare = 0.56;
/// Between the letters of the title and the boxes.
inline constexpr double kDigitsTitleGap = kSpace6;
/// Of the height that the boxes leave, at most.
inline constexpr double kDigitsTitleShare = 0.5;
inline constexpr std::size_t kMostDigits = 32;
inline constexpr Color kDigitBox = kButton;
inline constexpr Color kDigitOutline{1, 1, 1, 0.26F};

// The spinner.
inline constexpr double kSpinnerSize = 112;
/// With a text in its middle.
inline constexpr double kSpinnerSizeAroundText = 152;
/// Beneath it, so that it is seen on a bright picture: of its size, and the colour.
inline constexpr double kSpinnerBackingShare = 1.6;
inline constexpr Color kSpinnerBacking{0, 0, 0, 0.72F};
inline constexpr int kSpinnerDots = 10;
inline constexpr double kSpinnerDotShare = 0.13;
/// The fainter dots of its tail, and how fast it fades.
inline constexpr double kSpinnerFaint = 0.16;
inline constexpr double kSpinnerTail = 2.2;

}  // namespace box::theme
