#include <algorithm>
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "box/screen/drawing/Theme.h"
#include "box/screen/elements/Elements.h"

namespace box::test {
namespace {

using platform::Color;

double luminance(const Color& color) {
  const auto linear = [](float value) {
    const auto channel = static_cast<double>(value);
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(color.red) + 0.7152 * linear(color.green) + 0.0722 * linear(color.blue);
}

Color over(const Color& upper, const Color& lower) {
  const auto mix = [&](float a, float b) { return a * upper.alpha + b * (1 - upper.alpha); };
  return {mix(upper.red, lower.red), mix(upper.green, lower.green), mix(upper.blue, lower.blue), 1};
}

/// Returns the minimum contrast on a white and on a black picture that are covered by `backings`,
/// lowest first.
double contrast(const Color& ink, const std::vector<Color>& backings) {
  double least = 21;
  for (Color ground : {platform::kWhite, platform::kBlack}) {
    for (const Color& backing : backings) ground = over(backing, ground);
    const double a = luminance(over(ink, ground)) + 0.05;
    const double b = luminance(ground) + 0.05;
    least = std::min(least, std::max(a, b) / std::min(a, b));
  }
  return least;
}

TEST(Theme, HasEnoughContrast) {
  using namespace theme;
  constexpr double kOfText = 4.5;
  constexpr double kOfMarks = 3;
  const struct {
    const char* name;
    Color ink;
    std::vector<Color> backings;
    double least;
  } cases[]{{"title and times", kText, {kScrimUnderText}, kOfText},
            {"remaining time", kTextDim, {kScrimUnderText}, kOfText},
            {"live", kText, {kScrimUnderText, kLive}, kOfText},
            {"paused, behind live", kText, {kScrimUnderText, kBadge}, kOfText},
            {"button on the bar", kText, {kScrimUnderText, kButton}, kOfText},
            {"text of a card", kText, {kCard}, kOfText},
            {"dim text of a card", kTextDim, {kCard}, kOfText},
            {"button on a card", kText, {kCard, kButton}, kOfText},
            {"focused text", kTextOnFocus, {kFocus}, kOfText},
            {"over a blur", kText, {kBlurDarkening}, kOfText},
            {"digit", kText, {kBlurDarkening, kDigitBox}, kOfText},
            {"percentage", kText, {kSpinnerBacking}, kOfText},
            {"focus on a card", kFocus, {kCard, kButton}, kOfMarks},
            {"focus on the bar", kFocus, {kScrimUnderText, kButton}, kOfMarks},
            {"ring on a card", kFocusRing, {kCard}, kOfMarks},
            {"ring on the bar", kFocusRing, {kScrimUnderText}, kOfMarks},
            {"played", kTrackPlayed, {kScrimUnderText, kTrackLoaded}, kOfMarks},
            {"chapter", kText, {kScrimUnderText, kTrackLoaded, kChapterGapColor}, kOfMarks},
            {"scrolling", kScrollThumb, {kCard, kScrollBar}, kOfMarks}};
  for (const auto& testCase : cases)
    EXPECT_GE(contrast(testCase.ink, testCase.backings), testCase.least) << testCase.name;
  // The scrim must have its full opacity wherever there is text.
  for (const double textSize : {kMinTextSize, kMaxTextSize}) {
    const TransportBarLayout bar = transportBarLayout(platform::kScreenBounds, textSize);
    EXPECT_LE(bar.scrim.y + kScrimFade, std::min(bar.seek.y, bar.title.y));
    EXPECT_NEAR(bar.times.y + bar.times.height, platform::kScreenHeight * 0.95, 0.01);
    EXPECT_GE(look(platform::TextStyle::Caption).size, kMinFontSize);
  }
}

}  // namespace
}  // namespace box::test
