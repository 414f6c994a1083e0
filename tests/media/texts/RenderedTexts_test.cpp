// Styled subtitles: when they are rendered, and how they come from containers and files.

#include "media/texts/ass/RenderedTexts.h"

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <iterator>
#include <mutex>

#include <gtest/gtest.h>

#include "platform/foundation/Value.h"
#include "platform/media/MediaItemKeys.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using media::RenderedTexts;
using media::SubtitleCues;
using Source = SubtitleCues::Source;

std::string script(const std::string& events, const std::string& font = "Noto Sans") {
  return "[Script Info]\nScriptType: v4.00+\nPlayResX: 320\nPlayResY: 180\n\n[V4+ Styles]\n"
         "Format: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, "
         "BackColour, Bold, Italic, Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, "
         "BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, MarginV, Encoding\n"
         "Style: Default," +
         font +
         ",20,&H0000FF00,&H0000FF00,&H00FF0000,&H00000000,0,0,0,0,100,100,0,0,1,0,0,7,0,0,0,1\n\n"
         "[Events]\n"
         "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n" +
         events;
}

std::string event(const std::string& start, const std::string& end, const std::string& text) {
  return "Dialogue: 0,0:00:0" + start + ",0:00:0" + end + ",Default,,0,0,0,," + text + "\n";
}

/// A rectangle that covers a ninth of the picture, in the column and the row counted from 0.
std::string box(int column, int row, const std::string& tags = "") {
  return "{\\p1\\pos(" + std::to_string(column * 107) + "," + std::to_string(row * 60) + ")" +
         tags + "}m 0 0 l 107 0 l 107 60 l 0 60";
}

/// The colour in the middle of a ninth.
std::uint32_t colorIn(const SubtitleCues::Cues& cues, int column, int row) {
  for (const auto& cue : cues)
    for (const media::CueImage& image : cue->images) {
      const int x = image.canvasWidth * (2 * column + 1) / 6 - image.x;
      const int y = image.canvasHeight * (2 * row + 1) / 6 - image.y;
      if (x >= 0 && y >= 0 && x < image.width && y < image.height)
        return image.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) +
                            static_cast<std::size_t>(x)];
    }
  return 0;
}

constexpr std::uint32_t kGreen = 0xff00ff00;

class RenderedTextsTest : public testing::Test {
 protected:
  void SetUp() override {
    cues->show(Source::External);
    texts->show(Source::External);
    texts->setPicture({.width = 320, .height = 180, .aspect = 16.0 / 9});
  }
  /// Waits until that many renderings have been added.
  bool waitForCount(int expected) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(90), [&] { return count >= expected; });
  }
  int renderings() {
    const std::lock_guard lock(mutex);
    return count;
  }

  std::mutex mutex;
  std::condition_variable changed;
  int count = 0;
  const std::shared_ptr<SubtitleCues> cues = std::make_shared<SubtitleCues>();
  std::unique_ptr<RenderedTexts> texts = std::make_unique<RenderedTexts>(cues, [this] {
    const std::lock_guard lock(mutex);
    ++count;
    changed.notify_all();
  });
};

TEST_F(RenderedTextsTest, AreRenderedOncePerChange) {
  texts->setDocument(Source::External, script(event("1.00", "2.00", box(0, 0)) +
                                              event("3.00", "5.00", box(1, 1, "\\fad(1000,0)"))));
  const struct {
    double time;
    int renderings;  // from the beginning
    std::uint32_t left;
    std::uint32_t middleAlpha;
  } pictures[] = {
      {0.5, 1, 0, 0},    {0.54, 1, 0, 0},     {0.99, 1, 0, 0},      {0, 1, 0, 0},
      {1, 2, kGreen, 0}, {1.9, 2, kGreen, 0}, {1.04, 2, kGreen, 0}, {2, 3, 0, 0},
      {2.9, 3, 0, 0},    {3.2, 4, 0, 51},     {3.4, 5, 0, 102},     {3.8, 6, 0, 204},
      {0.5, 7, 0, 0},    {0.6, 7, 0, 0},      {1.5, 8, kGreen, 0},  {1.2, 8, kGreen, 0},
  };
  for (const auto& picture : pictures) {
    SCOPED_TRACE(picture.time);
    texts->renderAt(picture.time);
    EXPECT_EQ(texts->settledRenderings(), picture.renderings);
    EXPECT_EQ(colorIn(cues->at(picture.time), 0, 0), picture.left);
    EXPECT_NEAR(colorIn(cues->at(picture.time), 1, 1) >> 24, picture.middleAlpha, 3);
  }
  EXPECT_TRUE(cues->at(2).empty()) << "a rendering ends with its event";
}

TEST_F(RenderedTextsTest, FollowTheSelection) {
  texts->setDocument(Source::External, script(event("0.00", "9.00", box(0, 0))));
  texts->begin(script(""));
  texts->renderAt(1);
  ASSERT_TRUE(waitForCount(1));
  EXPECT_EQ(colorIn(cues->at(1), 0, 0), kGreen);
  cues->show(Source::Media);
  texts->show(Source::Media);
  EXPECT_EQ(colorIn(cues->at(1), 0, 0), 0u) << "of another source";
  ASSERT_TRUE(waitForCount(2));
  EXPECT_TRUE(cues->at(1).empty());
  texts->add(0.5, 3, "0,0,Default,,0,0,0,," + box(2, 2));
  ASSERT_TRUE(waitForCount(3)) << "an event that arrives late is rendered for the last picture";
  EXPECT_EQ(colorIn(cues->at(1), 2, 2), kGreen);
  cues->show(Source::External);
  texts->show(Source::External);
  ASSERT_TRUE(waitForCount(4));
  EXPECT_EQ(colorIn(cues->at(1), 0, 0), kGreen);
  texts->setDocument(Source::External, script(event("0.00", "9.00", box(1, 0))));
  ASSERT_TRUE(waitForCount(5));
  EXPECT_EQ(colorIn(cues->at(1), 0, 0), 0u);
  EXPECT_EQ(colorIn(cues->at(1), 1, 0), kGreen);
  texts->setPicture({.width = 180, .height = 320, .aspect = 9.0 / 16});
  ASSERT_TRUE(waitForCount(6));
  EXPECT_EQ(cues->at(1).at(0)->images.at(0).canvasHeight, 1080);
  EXPECT_EQ(cues->at(1).at(0)->images.at(0).canvasWidth, 608);
  texts.reset();
  EXPECT_EQ(renderings(), 6);
}

class StyledMediaTest : public testing::Test {
 protected:
  /// Loads paused, selects the only legible option, and waits for a rendering at that time.
  void show(const std::string& url, double seconds, const std::string& beside = "") {
    platform::MediaLoad load;
    load.playing = false;
    harness.load(url, load, [&](TVSMediaItem& item) {
      if (!beside.empty())
        item.setMetadata(platform::kMediaItemAlternateTracks,
                         platform::Array{platform::Dictionary{{"src", beside}}});
    });
    ASSERT_TRUE(harness.waitForEvent("pause"));
    const auto& groups = harness.engine().facts().selectionGroups;
    ASSERT_FALSE(groups.empty());
    ASSERT_EQ(groups.back().options.size(), 1u);
    harness.call([id = groups.back().options[0].identifier](platform::MediaEngine& engine) {
      engine.selectOption(std::string(platform::kMediaCharacteristicLegible), id);
    });
    ASSERT_TRUE(harness.waitForEvent("select legible"));
    seek(seconds);
  }
  void seek(double seconds) {
    const int before = harness.count("seek");
    harness.call([&](platform::MediaEngine& engine) { engine.seek(seconds); });
    ASSERT_TRUE(harness.waitForEvent("seek", before));
  }
  SubtitleCues::Cues shown() {
    const auto frame = harness.frame();
    return frame && frame->subtitles ? frame->subtitles->at(frame->time) : SubtitleCues::Cues();
  }
  bool waitForColor(int column, int row, std::uint32_t color) {
    return harness.waitUntil([&] { return colorIn(shown(), column, row) == color; });
  }

  const TestMedia& media = TestMedia::shared();
  EngineHarness harness;
};

TEST_F(StyledMediaTest, IsShownFromContainersAndFiles) {
  const std::string document =
      script(event("0.20", "1.00", box(0, 0)) + event("1.00", "2.00", box(2, 2, "\\fad(0,500)")));
  std::ofstream(media.path("styled.ass")) << "\xef\xbb\xbf" + document;
  media.url("clip.mp4");
  media.url("styled.mkv", "-i " + media.path("styled.ass") +
                              " -map 0 -map 1 -map 3 -c:v libx264 -c:a aac -c:s copy");
  const std::pair<std::string, std::string> cases[] = {
      {media.url("styled.mkv"), ""}, {media.url("clip.mp4"), media.url("styled.ass")}};
  for (const auto& [url, beside] : cases) {
    SCOPED_TRACE(url);
    ASSERT_NO_FATAL_FAILURE(show(url, 0.5, beside));
    EXPECT_TRUE(waitForColor(0, 0, kGreen));
    EXPECT_EQ(colorIn(shown(), 1, 1), 0u);
    ASSERT_NO_FATAL_FAILURE(seek(1.2));
    EXPECT_TRUE(waitForColor(2, 2, kGreen));
    EXPECT_EQ(colorIn(shown(), 0, 0), 0u);
    ASSERT_NO_FATAL_FAILURE(seek(1.76));
    EXPECT_TRUE(harness.waitUntil([&] {
      const std::uint32_t opacity = colorIn(shown(), 2, 2) >> 24;
      return opacity > 100 && opacity < 140;
    })) << "half way of the fade";
    ASSERT_NO_FATAL_FAILURE(seek(2.5));
    EXPECT_TRUE(harness.waitUntil([&] { return shown().empty(); }));
    ASSERT_NO_FATAL_FAILURE(seek(0.5));
    EXPECT_TRUE(waitForColor(0, 0, kGreen));
    harness.call([](platform::MediaEngine& engine) {
      engine.selectOption(std::string(platform::kMediaCharacteristicLegible), std::nullopt);
    });
    EXPECT_TRUE(harness.waitUntil([&] { return shown().empty(); }));
  }
}

TEST_F(StyledMediaTest, UsesAttachedFonts) {
  // Noto Serif with another family name, which no installed font has. Its letters are wider than
  // those of the default font.
  std::ifstream file("/usr/share/fonts/truetype/noto/NotoSerif-Bold.ttf", std::ios::binary);
  std::string font{std::istreambuf_iterator<char>(file), {}};
  if (font.empty()) GTEST_SKIP() << "Noto Serif is not installed";
  const auto wide = [](std::string_view text) {
    std::string result;
    for (const char each : text) (result += '\0') += each;
    return result;
  };
  for (std::size_t at = 0; (at = font.find(wide("Noto"), at)) != std::string::npos; at += 8)
    font.replace(at, 8, wide("Zoto"));
  std::ofstream(media.path("zoto.ttf"), std::ios::binary) << font;
  const auto widthWith = [&](const std::string& name, const std::string& options) {
    std::ofstream(media.path(name + ".ass"))
        << script(event("0.00", "3.00", "{\\an7\\pos(0,0)}iiiiiiiiii"), "Zoto Serif");
    media.url(name + ".mkv", "-i " + media.path(name + ".ass") +
                                 " -map 0 -map 1 -map 3 -c:v libx264 -c:a aac -c:s copy" + options);
    show(media.url(name + ".mkv"), 1);
    EXPECT_TRUE(harness.waitUntil([&] { return !shown().empty(); }));
    return shown().empty() ? 0 : shown().at(0)->images.at(0).width;
  };
  const int without = widthWith("unattached", "");
  const int with = widthWith(
      "attached", " -attach " + media.path("zoto.ttf") + " -metadata:s:t mimetype=font/ttf");
  EXPECT_GT(without, 0);
  EXPECT_GT(with, without * 5 / 4);
}

}  // namespace
}  // namespace testing_media
