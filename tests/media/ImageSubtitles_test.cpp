// Bitmap subtitles: as packets, and in containers.

#include "media/texts/ImageSubtitles.h"

#include <fstream>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

std::string bytes(std::size_t value, int count) {
  std::string result;
  while (count-- > 0) result += static_cast<char>(value >> (8 * count));
  return result;
}

/// A white box of 16x8 pixels from 0.5 to 2 seconds in PGS. `isFile` adds the headers that segments
/// have in a file.
std::string boxOfGraphics(bool isFile) {
  std::string made;
  double time = 0;
  const auto add = [&](int type, const std::string& body) {
    const std::string pts = bytes(static_cast<std::size_t>(90000 * time), 4);
    if (isFile) made += "PG" + pts + pts;
    made += bytes(static_cast<std::size_t>(type), 1) + bytes(body.size(), 2) + body;
  };
  const std::string place = bytes(100, 2) + bytes(400, 2);
  const std::string window = std::string("\1\0", 2) + place + bytes(16, 2) + bytes(8, 2);
  const std::string canvas = bytes(720, 2) + bytes(480, 2) + "\x10";
  std::string pixels;
  for (int row = 0; row < 8; ++row) pixels += std::string("\0\x90\1\0\0", 5);  // 16 of colour 1
  for (const double begin : {0.0, 0.5, 2.0}) {
    const bool isShown = begin == 0.5;
    time = begin;
    add(0x16, canvas + bytes(1, 2) +
                  (isShown ? std::string("\x80\0\0\1\0\0\0\0", 8) + place : std::string(4, '\0')));
    add(0x17, window);
    if (isShown) {
      add(0x14, std::string("\0\0\1", 3) + "\xeb\x80\x80\xff");
      add(0x15, std::string("\0\0\0\xc0", 4) + bytes(pixels.size() + 4, 3) + bytes(16, 2) +
                    bytes(8, 2) + pixels);
    }
    add(0x80, "");
  }
  return made;
}

/// The same box as a DVD subpicture, without an end time.
const std::string kDisc(
    "\0\x32\0\x14\4\x10\4\x10\4\x10\4\x10\4\x10\4\x10\4\x10\4\x10"
    "\0\0\0\x2c\3\0\x70\4\0\xf0\5\6\x40\x73\x19\1\x97\6\0\4\0\x0c\1\xff\xff\xff\0\x2c\2\xff",
    50);

void expectBox(const media::SubtitleCue& cue) {
  ASSERT_EQ(cue.images.size(), 1u);
  const media::CueImage& image = cue.images[0];
  EXPECT_EQ(std::pair(image.canvasWidth, image.canvasHeight), std::pair(720, 480));
  EXPECT_EQ(std::tuple(image.x, image.y, image.width, image.height), std::tuple(100, 400, 16, 8));
  EXPECT_GT(image.pixels[20], 0xFFF0F0F0U);
}

TEST(ImageSubtitles, DecodesPacketsAndSurvivesBrokenOnes) {
  const struct {
    const char* type;
    std::string packet;
    std::size_t cues;
    double duration;
  } cases[] = {{"subpicture/x-pgs", boxOfGraphics(false), 3, media::SubtitleCue::kUntilNext},
               {"subpicture/x-dvd", kDisc, 1, 1.5}};
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.type);
    std::vector<media::SubtitleCue> shown;
    const auto reader = media::makeImageSubtitles(
        testCase.type, [&](media::SubtitleCue cue) { shown.push_back(std::move(cue)); });
    reader->setDescription("size: 720x480\npalette: 0,0,0,0,0,0,0, ffffff,0,0,0,0,0,0,0,0\n");
    reader->feed(0.5, 1.5, testCase.packet);
    ASSERT_EQ(shown.size(), testCase.cues);
    expectBox(shown[testCase.cues / 2]);
    EXPECT_EQ(shown[testCase.cues / 2].start, 0.5);
    EXPECT_EQ(shown[testCase.cues / 2].duration, testCase.duration);
    shown.clear();
    for (std::size_t size = 0; size < testCase.packet.size(); ++size) {
      std::string damaged = testCase.packet;
      damaged[size] = static_cast<char>(damaged[size] ^ static_cast<char>(size * 41 + 1));
      reader->feed(1, 1, testCase.packet.substr(0, size));
      reader->feed(1, 1, damaged);
    }
    for (const media::SubtitleCue& cue : shown)
      for (const media::CueImage& each : cue.images)
        ASSERT_EQ(each.pixels.size(), static_cast<std::size_t>(each.width * each.height));
    EXPECT_GT(shown.size(), 5u);
  }
  EXPECT_FALSE(media::makeImageSubtitles("subpicture/x-other", {}));
}

TEST(ImageSubtitles, AreShownAtTheirTimes) {
  const TestMedia& media = TestMedia::shared();
  std::ofstream(media.path("box.sup"), std::ios::binary) << boxOfGraphics(true);
  const std::string options = "-i " + media.path("box.sup") +
                              " -map 0 -map 1 -map 3 -c:v libx264 -c:a aac -s:s 720x480 -c:s ";
  for (const auto& [name, form] :
       {std::pair("graphics.mkv", "copy"), {"graphics.m2ts", "copy"}, {"broadcast.ts", "dvbsub"}}) {
    SCOPED_TRACE(name);
    EngineHarness harness;
    platform::MediaLoad load;
    load.playing = false;
    harness.load(media.url(name, options + form), load);
    ASSERT_TRUE(harness.waitForEvent("pause"));
    const auto& groups = harness.engine().facts().selectionGroups;
    ASSERT_FALSE(groups.empty());
    harness.call([id = groups.back().options.at(0).identifier](platform::MediaEngine& engine) {
      engine.selectOption(std::string(platform::kMediaCharacteristicLegible), id);
      engine.play(1);
    });
    ASSERT_TRUE(harness.waitForEvent("end"));
    const auto subtitles = harness.frame()->subtitles;
    EXPECT_TRUE(subtitles->at(0.3).empty());
    // In transport streams time begins before the first picture, and the last page is not ended.
    EXPECT_EQ(subtitles->at(2.6).empty(), std::string(name) == "graphics.mkv");
    const auto cues = subtitles->at(1.7);
    ASSERT_EQ(cues.size(), 1u);
    expectBox(*cues[0]);
  }
}

}  // namespace
}  // namespace testing_media
