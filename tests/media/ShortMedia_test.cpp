// Media of one picture or of a twentieth of a second, and with a stream that is empty or late.

#include <algorithm>
#include <chrono>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

struct ShortClip {
  const char* name;
  std::string options;
  bool hasVideo = false;
};

void PrintTo(const ShortClip& clip, std::ostream* out) { *out << clip.name; }

const std::string kOnePicture = "-map 0 -frames:v 1 -pix_fmt yuv420p -c:v ";
const std::string kShortTone = "-map 1 -t 0.05 -c:a ";
const ShortClip kShortClips[] = {
    {"one_picture.mp4", kOnePicture + "libx264", true},
    {"one_picture_fragmented.mp4", kOnePicture + "libx264 -movflags frag_keyframe+empty_moov",
     true},
    {"one_picture.mkv", kOnePicture + "libx264", true},
    {"one_picture.webm", kOnePicture + "libvpx", true},
    {"one_picture.ts", kOnePicture + "libx264", true},
    {"one_picture.flv", kOnePicture + "libx264", true},
    {"one_picture.avi", kOnePicture + "mpeg4", true},
    {"one_picture.m3u8", kOnePicture + "libx264 -hls_playlist_type vod", true},
    {"short_tone.mp4", kShortTone + "aac"},
    {"short_tone.mkv", kShortTone + "aac"},
    {"short_tone.ts", kShortTone + "aac"},
    {"short_tone.mp3", kShortTone + "libmp3lame"},
    {"short_tone.aac", kShortTone + "aac"},
    {"short_tone.wav", kShortTone + "pcm_s16le"},
    {"short_tone.flac", kShortTone + "flac"},
    {"short_tone.ogg", kShortTone + "libvorbis"},
    {"short_tone.m3u8", kShortTone + "aac -hls_playlist_type vod"},
    {"short_both.mp4", "-map 0 -map 1 -t 0.04 -pix_fmt yuv420p -c:v libx264 -c:a aac", true},
    {"short_both.ts", "-map 0 -map 1 -t 0.04 -pix_fmt yuv420p -c:v libx264 -c:a aac", true},
};

class ShortMedia : public testing::TestWithParam<ShortClip> {};

TEST_P(ShortMedia, PlaysAndEndsOnce) {
  const ShortClip& clip = GetParam();
  for (const bool playsAtOnce : {true, false}) {
    SCOPED_TRACE(playsAtOnce);
    EngineHarness harness;
    platform::MediaLoad load;
    load.playing = playsAtOnce;
    harness.load(TestMedia::shared().url(clip.name, clip.options), load);
    std::vector<std::string> expected{"ready", "play 1", "end"};
    if (!playsAtOnce) {
      ASSERT_TRUE(harness.waitUntil([&] { return harness.count("pause") > 0 || harness.error(); }));
      ASSERT_FALSE(harness.error()) << harness.error()->description();
      harness.call([](platform::MediaEngine& engine) { engine.play(1); });
      expected.insert(expected.begin() + 1, "pause");
    }
    ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
    ASSERT_FALSE(harness.error()) << harness.error()->description();
    EXPECT_EQ(harness.events(), expected);
    EXPECT_EQ(harness.frame() != nullptr, clip.hasVideo);
    EXPECT_LT(harness.engine().position(), 0.2);

    // A seek back to the start plays it once more.
    const int before = harness.count("seek");
    harness.call([](platform::MediaEngine& engine) { engine.seek(0); });
    ASSERT_TRUE(harness.waitForEvent("seek", before));
    ASSERT_TRUE(harness.waitForEvent("end", 1));
    EXPECT_EQ(harness.count("end"), 2);
    EXPECT_FALSE(harness.error());
  }
}

std::string shortClipName(const testing::TestParamInfo<ShortClip>& clip) {
  std::string name = clip.param.name;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Media, ShortMedia, testing::ValuesIn(kShortClips), shortClipName);

TEST(EmptyStreams, DoNotKeepTheOthersFromPlaying) {
  const std::string video = "-map 0 -map 1 -pix_fmt yuv420p -c:v libx264 -c:a aac ";
  const struct {
    const char* name;
    std::string options;
    bool hasPicture = false;
  } cases[] = {
      {"no_pictures.mkv", video + "-bsf:v noise=drop=1"},
      {"no_pictures.mp4", video + "-bsf:v noise=drop=1"},
      {"no_sound.mkv", video + "-bsf:a noise=drop=1", true},
      {"late_pictures.mkv", video + "-vf setpts=PTS+2/TB", true},
      {"late_pictures.mp4", video + "-vf setpts=PTS+2/TB", true},
      {"late_sound.mkv", video + "-af asetpts=PTS+2/TB", true},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    EngineHarness harness;
    harness.load(TestMedia::shared().url(each.name, each.options));
    ASSERT_TRUE(harness.waitUntil([&] { return harness.count("play 1") > 0 || harness.error(); },
                                  std::chrono::seconds(10)))
        << "earlier than the time-out";
    ASSERT_FALSE(harness.error()) << harness.error()->description();
    EXPECT_EQ(harness.waitUntil([&] { return harness.frame() || harness.count("end") > 0; }) &&
                  harness.frame(),
              each.hasPicture);
    EXPECT_TRUE(harness.engine().failedRequests().empty());
  }
}

}  // namespace
}  // namespace testing_media
