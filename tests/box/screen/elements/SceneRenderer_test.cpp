#include "box/screen/elements/SceneRenderer.h"

#include <chrono>
#include <utility>

#include <gtest/gtest.h>

#include "box/screen/elements/Elements.h"
#include "media/output/SubtitleStyles.h"
#include "platform/foundation/Value.h"
#include "tests/box/screen/Pictures.h"

namespace box::test {
namespace {

using platform::TextAlignment;
using platform::TextElement;
using platform::TransportBarElement;
using platform::TransportState;

constexpr std::pair<int, int> kSizes[]{{1280, 720}, {1920, 1080}};
constexpr Color kRed{1, 0, 0, 1};
/// Red and blue in BT.709, studio range.
constexpr MemoryFrame::Yuv kRed709{63, 102, 240};
constexpr MemoryFrame::Yuv kBlue709{32, 240, 118};

struct ShapeCase {
  const char* name;
  media::VideoFormat format;
  int width, height;
  int aspectNumerator, aspectDenominator;
  int rotation;
  /// Expected rectangle of the picture on a screen of 1920 by 1080.
  double left, top, right, bottom;
};

TEST(SceneRenderer, DrawsVideoWithItsAspectRatio) {
  const ShapeCase cases[]{
      {"fills the screen", media::VideoFormat::NV12, 320, 180, 1, 1, 0, 0, 0, 1920, 1080},
      {"planar", media::VideoFormat::I420, 320, 180, 1, 1, 0, 0, 0, 1920, 1080},
      {"wide", media::VideoFormat::NV12, 480, 200, 1, 1, 0, 0, 140, 1920, 940},
      {"narrow", media::VideoFormat::I420, 320, 240, 1, 1, 0, 240, 0, 1680, 1080},
      {"wide pixels", media::VideoFormat::NV12, 360, 240, 4, 3, 0, 0, 60, 1920, 1020},
      {"rotated", media::VideoFormat::NV12, 320, 180, 1, 1, 90, 656, 0, 1264, 1080},
      {"odd size", media::VideoFormat::NV12, 319, 179, 1, 1, 0, 0, 0, 1920, 1077},
      {"invalid pixel aspect", media::VideoFormat::I420, 320, 180, 0, -5, 0, 0, 0, 1920, 1080}};
  for (const ShapeCase& testCase : cases) {
    const auto frame =
        std::make_shared<MemoryFrame>(testCase.format, testCase.width, testCase.height, kRed709);
    frame->pixelAspectNumerator = testCase.aspectNumerator;
    frame->pixelAspectDenominator = testCase.aspectDenominator;
    frame->rotationDegrees = testCase.rotation;
    for (const auto& [width, height] : kSizes) {
      SCOPED_TRACE(std::string(testCase.name) + " at " + std::to_string(width));
      const Picture picture(sceneOf({VideoElement{videoOf(frame)}}), width, height);
      const double scale = width / 1920.0;
      const auto bounds = picture.inked();
      constexpr double kSlack = 3;
      EXPECT_NEAR(bounds.left, testCase.left * scale, kSlack);
      EXPECT_NEAR(bounds.top, testCase.top * scale, kSlack);
      EXPECT_NEAR(bounds.right + 1, testCase.right * scale, kSlack);
      EXPECT_NEAR(bounds.bottom + 1, testCase.bottom * scale, kSlack);
      EXPECT_LE(picture.at(width / 2, height / 2).distance({255, 0, 0}), 8);
    }
  }
}

TEST(SceneRenderer, DrawsSubtitlesOfTheCurrentTime) {
  const media::SubtitleCue plain{1, 1, "WWWW\nWWWW"};
  media::SubtitleCue above = plain;
  above.layout.line = 0;
  media::SubtitleCue green{1, 1, "MMMM\nMMMM"};
  green.spans.resize(1);
  green.spans[0].end = 9;
  green.spans[0].look.color = platform::Color{0, 1, 0, 1};
  media::SubtitleCue image{1, 1};
  image.images = {{320, 180, 110, 150, 100, 20, std::vector<std::uint32_t>(2000, 0xFF00FF00)}};
  const Pixel white{255, 255, 255};
  const Pixel lime{0, 255, 0};
  const auto styles = media::subtitleStylesOf(
      platform::Array{platform::Dictionary{{"foregroundColor", "lime"}, {"linePosition", 5}}});
  const struct {
    const char* what;
    std::vector<media::SubtitleCue> cues;
    double time;
    Pixel ink;
    int top;     // first row with ink
    int bottom;  // end of the rows with ink; equal to `top` without ink
    std::shared_ptr<const media::SubtitleStyles> styles;
  } cases[]{{"before its start", {plain}, 0.9, white, 0, 0, nullptr},
            {"at its start", {plain}, 1, white, 590, 690, nullptr},
            {"before its end", {plain}, 1.9, white, 590, 690, nullptr},
            {"after its end", {plain}, 2, white, 0, 0, nullptr},
            {"picture without a time", {plain}, -1, white, 0, 0, nullptr},
            {"stacked", {green, plain}, 1, white, 500, 600, nullptr},
            {"at the upper edge", {above}, 1, white, 30, 130, nullptr},
            {"with its colour", {green}, 1, lime, 590, 690, nullptr},
            {"with styles", {plain}, 1, lime, 30, 130, styles},
            {"image", {image}, 1, lime, 598, 682, nullptr}};
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.what);
    const auto cues = std::make_shared<media::SubtitleCues>();
    for (const media::SubtitleCue& each : testCase.cues) cues->add(each);
    cues->show(media::SubtitleCues::Source::Media);
    cues->setStyles(testCase.styles);
    const auto frame = std::make_shared<MemoryFrame>(media::VideoFormat::NV12, 320, 180, kRed709);
    frame->time = testCase.time;
    frame->subtitles = cues;
    const Picture picture(sceneOf({VideoElement{videoOf(frame)}}), 1280, 720);
    int inside = 0;
    int outside = 0;
    for (int y = 0; y < 720; ++y)
      for (int x = 400; x < 880; ++x)
        if (picture.at(x, y).distance(testCase.ink) < 30)
          (y >= testCase.top && y < testCase.bottom ? inside : outside) += 1;
    EXPECT_EQ(inside > 500, testCase.bottom > testCase.top) << inside;
    EXPECT_EQ(outside, 0);
  }
}

TEST(SceneRenderer, SkipsHiddenElements) {
  const auto video =
      videoOf(std::make_shared<MemoryFrame>(media::VideoFormat::NV12, 64, 36, kRed709));
  const struct {
    const char* name;
    platform::SceneElement cover;
    bool hides;
  } cases[]{{"opaque", FillElement{kRed}, true},
            {"translucent", FillElement{{1, 0, 0, 0.5F}}, false},
            {"video", VideoElement{video}, true},
            {"video without a picture", VideoElement{nullptr}, true}};
  const platform::Rect most{0, 0, platform::kScreenWidth, platform::kScreenHeight - 1};
  const auto spinner = node(kScreenBounds, platform::SpinnerElement{});
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    // Only elements that are drawn are animated.
    const auto whole = node(kScreenBounds, testCase.cover);
    const auto animated = [](const Scene& scene) { return Picture(scene, 640, 360).animated(); };
    EXPECT_EQ(animated({{spinner, whole}}), !testCase.hides);
    EXPECT_TRUE(animated({{whole, spinner}}));
    EXPECT_TRUE(animated({{spinner, node(most, testCase.cover)}}));
    EXPECT_TRUE(animated({{spinner, node(kScreenBounds, testCase.cover, 0.9F)}}));
  }
}

TEST(SceneRenderer, RotatesVideoClockwise) {
  // Blue on the left, red on the right.
  const struct {
    int degrees;
    int blueX, blueY, redX, redY;
  } cases[]{{0, 480, 540, 1440, 540},
            {90, 960, 200, 960, 880},
            {180, 1440, 540, 480, 540},
            {270, 960, 880, 960, 200}};
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.degrees);
    const auto frame =
        std::make_shared<MemoryFrame>(media::VideoFormat::NV12, 320, 180, kRed709, kBlue709);
    frame->rotationDegrees = testCase.degrees;
    const Picture picture(sceneOf({VideoElement{videoOf(frame)}}), 1920, 1080);
    EXPECT_LE(picture.at(testCase.blueX, testCase.blueY).distance({0, 0, 255}), 8);
    EXPECT_LE(picture.at(testCase.redX, testCase.redY).distance({255, 0, 0}), 8);
  }
}

TEST(SceneRenderer, FadesWithTheClock) {
  using std::chrono::milliseconds;
  const platform::TimePoint start{std::chrono::seconds(5)};
  Scene scene = sceneOf({FillElement{platform::kWhite}});
  scene.nodes[0].alpha = {0, 1, start, milliseconds(300)};
  const struct {
    milliseconds at;
    int brightness;
    bool animated;
  } cases[]{
      {milliseconds(0), 0, true}, {milliseconds(150), 128, true}, {milliseconds(300), 255, false}};
  for (const auto& testCase : cases) {
    const Picture picture(scene, 640, 360, start + testCase.at);
    EXPECT_NEAR(picture.at(320, 180).brightness(), testCase.brightness, 2);
    EXPECT_EQ(picture.animated(), testCase.animated);
  }
  for (const float to : {1.0F, 0.0F}) {
    scene.nodes[0].alpha = {1 - to, to, start, milliseconds(300)};
    const Picture calm(scene, 640, 360, start + milliseconds(1),
                       {.textSize = 1, .reducedMotion = true});
    EXPECT_EQ(calm.at(320, 180).brightness(), to > 0 ? 255 : 0);
    EXPECT_FALSE(calm.animated());
  }
  // Opacity applies to nested nodes and to video.
  Scene nested;
  nested.nodes.push_back(node(kScreenBounds, FillElement{platform::kBlack}, 0.5F));
  const auto white = std::make_shared<MemoryFrame>(media::VideoFormat::NV12, 64, 36,
                                                   MemoryFrame::Yuv{235, 128, 128});
  nested.nodes[0].children.push_back(node(kScreenBounds, VideoElement{videoOf(white)}, 0.5F));
  EXPECT_NEAR(Picture(nested, 640, 360).at(320, 180).brightness(), 64, 3);
}

TEST(SceneRenderer, BlursAndDarkensElementsBelow) {
  Scene scene;
  scene.nodes.push_back(node({0, 0, 960, 1080}, FillElement{platform::kWhite}));
  scene.nodes.push_back(node(kScreenBounds, platform::BlurElement{}));
  scene.nodes.push_back(node({0, 0, 100, 100}, FillElement{kRed}));
  for (const auto& [width, height] : kSizes) {
    const Picture picture(scene, width, height);
    const int y = height / 2;
    const auto brightness = [&, across = width](double x) {
      return picture.at(static_cast<int>(x * across), y).brightness();
    };
    EXPECT_NEAR(brightness(0.1), whiteBelowBlur(), 8) << "uniformly darkened away from the edge";
    EXPECT_LT(brightness(0.9), 12);
    // The edge is blurred.
    EXPECT_GT(brightness(0.5 - 0.004), brightness(0.5 + 0.004));
    EXPECT_GT(brightness(0.5 + 0.004), 12);
    EXPECT_LT(brightness(0.5 - 0.004), 64);
    EXPECT_LE(picture.at(10, 10).distance({255, 0, 0}), 1) << "elements above are sharp";
  }
}

TEST(SceneRenderer, OmitsTextAndControlsBelowABlur) {
  TransportBarElement bar;
  bar.title = "Title";
  bar.duration = 100;
  const auto column = [](std::vector<platform::SceneElement> beneath) {
    std::vector<platform::SceneElement> elements{FillElement{platform::kWhite}};
    for (auto& each : beneath) elements.push_back(std::move(each));
    elements.emplace_back(platform::BlurElement{});
    const Picture picture(sceneOf(std::move(elements)), 640, 360);
    EXPECT_FALSE(picture.animated());
    std::vector<int> brightness;
    for (int y = 0; y < 360; y += 4) brightness.push_back(picture.at(320, y).brightness());
    return brightness;
  };
  EXPECT_EQ(column({bar, platform::SpinnerElement{}, platform::MessageElement{"Message"}}),
            column({}));
}

TEST(SceneRenderer, PlacesSubtitlesInsideOrOutsideThePicture) {
  const struct {
    const char* what;
    int width;  // of a picture of height 200
    const char* text;
    int line;
    bool inside;
  } cases[]{{"bar too small for two lines", 478, "WW\nWW", -1, true},
            {"one line, placed like two", 478, "WW", -1, true},
            {"bar large enough", 800, "WW\nWW", -1, false},
            {"bar too small for five lines", 800, "WW\nWW\nWW\nWW\nWW", -1, true},
            {"at the top", 478, "WW\nWW", 0, true},
            {"at the top, bar large enough", 800, "WW\nWW", 0, false}};
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.what);
    media::SubtitleCue cue{1, 1, testCase.text};
    cue.layout.line = testCase.line;
    const auto cues = std::make_shared<media::SubtitleCues>();
    cues->add(cue);
    cues->show(media::SubtitleCues::Source::Media);
    const auto frame =
        std::make_shared<MemoryFrame>(media::VideoFormat::NV12, testCase.width, 200, kRed709);
    frame->time = 1;
    frame->subtitles = cues;
    const Picture picture(sceneOf({VideoElement{videoOf(frame)}}), 1280, 720);
    const int height = 1280 * 200 / testCase.width;
    int inside = 0;
    int outside = 0;
    for (int y = 0; y < 720; ++y)
      for (int x = 400; x < 880; ++x)
        if (picture.at(x, y).distance({255, 255, 255}) < 30)
          (std::abs(y - 360) < height / 2 ? inside : outside) += 1;
    EXPECT_GT(testCase.inside ? inside : outside, 200);
    EXPECT_EQ(testCase.inside ? outside : inside, 0);
  }
}

TEST(SceneRenderer, UpdatesABlurWhenElementsBelowChange) {
  const SurfacePtr surface(
      SDL_CreateRGBSurfaceWithFormat(0, 640, 360, 32, SDL_PIXELFORMAT_ARGB8888));
  const RendererPtr renderer(SDL_CreateSoftwareRenderer(surface.get()));
  TextRenderer texts;
  SceneRenderer scenes(renderer.get(), texts);
  const auto video = std::make_shared<media::VideoFrames>();
  const auto ticket = video->open();
  const auto brightness = [&](const Scene& scene) {
    scenes.draw(scene, 640, 360, {});
    SDL_RenderPresent(renderer.get());
    const auto* row = static_cast<const std::uint8_t*>(surface->pixels) + 180 * surface->pitch;
    return static_cast<int>(row[4 * 320 + 1]);
  };
  const auto blurred = [](platform::SceneElement element) {
    return sceneOf({std::move(element), platform::BlurElement{}});
  };
  EXPECT_NEAR(brightness(blurred(FillElement{platform::kWhite})), whiteBelowBlur(), 10);
  EXPECT_NEAR(brightness(blurred(FillElement{platform::kWhite})), whiteBelowBlur(), 10);
  EXPECT_LT(brightness(blurred(FillElement{platform::kBlack})), 10);
  for (const std::uint8_t luma : std::initializer_list<std::uint8_t>{235, 16, 235}) {
    video->put(ticket, std::make_shared<MemoryFrame>(media::VideoFormat::NV12, 64, 36,
                                                     MemoryFrame::Yuv{luma, 128, 128}));
    for (int turn = 0; turn < 2; ++turn)
      EXPECT_NEAR(brightness(blurred(VideoElement{video})), luma > 100 ? whiteBelowBlur() : 3, 10);
  }
}

TEST(SceneRenderer, KeepsTextInItsFrame) {
  std::string longText;
  for (int i = 0; i < 20000; ++i) longText += "word \xff ";
  const struct {
    const char* name;
    std::string text;
  } cases[]{{"long with invalid UTF-8", longText},
            {"one word", std::string(5000, 'W')},
            {"lines", std::string(3000, '\n') + "x"}};
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    Scene scene;
    scene.nodes.push_back(
        node({300, 300, 600, 300}, TextElement{testCase.text, platform::TextStyle::Body,
                                               platform::kWhite, TextAlignment::Leading}));
    const auto bounds = Picture(scene, 1920, 1080).inked();
    if (bounds.empty()) continue;
    EXPECT_GE(bounds.left, 295);
    EXPECT_LE(bounds.right, 905);
    EXPECT_GE(bounds.top, 295);
    EXPECT_LE(bounds.bottom, 605);
  }
}

TEST(TransportBar, ShowsTimesAndRate) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    const char* name;
    double elapsed;
    std::optional<double> duration;
    bool live;
    TransportState state;
    double rate;
    const char *left, *right, *rateText;
    double played;
  } cases[]{
      {"in the middle", 65.7, 131.4, false, TransportState::Playing, 1, "1:05", "-1:06", "", 0.5},
      {"beyond the end", 200, 100, false, TransportState::Paused, 1, "3:20", "0:00", "", 1},
      {"unknown duration", 10, std::nullopt, false, TransportState::Playing, 1, "0:10", "", "", 0},
      {"invalid duration", 10, nan, false, TransportState::Playing, 1, "0:10", "", "", 0},
      {"invalid position", nan, 100.0, false, TransportState::Playing, 1, "--:--", "-1:40", "", 0},
      {"live", 3600, std::nullopt, true, TransportState::Playing, 1, "1:00:00", "LIVE", "", 1},
      {"scanning", 5, 10.0, false, TransportState::ScanningForward, 8, "0:05", "-0:05", "8×", 0.5},
      {"scanning backwards", 5, 10.0, false, TransportState::ScanningBackward, -2.5, "0:05",
       "-0:05", "2.5×", 0.5},
      {"invalid rate", 5, 10.0, false, TransportState::ScanningForward, nan, "0:05", "-0:05", "",
       0.5}};
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    TransportBarElement bar;
    bar.elapsed = testCase.elapsed;
    bar.duration = testCase.duration;
    bar.live = testCase.live;
    bar.state = testCase.state;
    bar.rate = testCase.rate;
    const TransportBarTexts texts = transportBarTexts(bar);
    EXPECT_EQ(texts.left, testCase.left);
    EXPECT_EQ(texts.right, testCase.right);
    EXPECT_EQ(texts.rate, testCase.rateText);
    EXPECT_NEAR(texts.played, testCase.played, 0.001);
  }
}

TEST(SceneRenderer, RotatesTheSpinner) {
  using std::chrono::milliseconds;
  const platform::TimePoint start{std::chrono::seconds(100)};
  const Scene scene = sceneOf({platform::SpinnerElement{start}});
  const Picture atTop(scene, 1920, 1080, start);
  const Picture halfway(scene, 1920, 1080, start + milliseconds(550));
  EXPECT_TRUE(atTop.animated());
  const int top = 540 - 48;
  const int bottom = 540 + 48;
  EXPECT_GT(atTop.at(960, top).brightness(), 200);
  EXPECT_LT(atTop.at(960, bottom).brightness(), 150);
  EXPECT_GT(halfway.at(960, bottom).brightness(), 200);
  EXPECT_LT(halfway.at(960, top).brightness(), 150);
  const Picture calm(scene, 1920, 1080, start, {.textSize = 1, .reducedMotion = true});
  EXPECT_TRUE(calm.animated());
  EXPECT_LE(calm.at(960, top).distance(calm.at(960, bottom)), 4) << "no rotation";
}

}  // namespace
}  // namespace box::test
