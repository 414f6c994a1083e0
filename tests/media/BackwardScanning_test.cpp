// Backwards at 8 and 16 times, at least four pictures a second are shown.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/media/EngineHarness.h"
#include "tests/media/MediaEngineMaker.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

/// The time of the engine, but not of GStreamer. It only advances here.
class SteppedClock final : public platform::Clock {
 public:
  platform::TimePoint now() const override { return platform::TimePoint(_now.load()); }
  platform::Date date() const override { return {}; }
  void advance(platform::Duration duration) { _now = _now.load() + duration; }

 private:
  std::atomic<platform::Duration> _now{std::chrono::hours(1)};
};

constexpr double kEnd = 15.9;
constexpr double kKeyInterval = 2;
constexpr double kFirstKey = 0.2;  // with B frames, audio begins earlier
constexpr auto kQuarter = std::chrono::milliseconds(250);

struct SoughtClip {
  const char* name;
  const char* options;  // key frames every 2 s
};

void PrintTo(const SoughtClip& clip, std::ostream* out) { *out << clip.name; }

constexpr SoughtClip kSoughtClips[] = {
    {"back.mp4", "-c:v libx264 -g 50 -c:a aac"},
    {"back_fragmented.mp4", "-c:v libx264 -g 50 -c:a aac -movflags frag_keyframe+empty_moov"},
    {"back.mkv", "-c:v libx264 -g 50 -c:a aac"},
    {"back.ts", "-c:v libx264 -g 50 -c:a aac"},
    {"back.mpg", "-c:v mpeg2video -g 50 -sc_threshold 1000000000 -q:v 3 -c:a mp2"},
    {"back.flv", "-c:v libx264 -g 50 -c:a aac -ar 44100"},
    {"back.avi", "-c:v mpeg4 -g 50 -sc_threshold 1000000000 -q:v 3 -c:a libmp3lame"},
    {"back_mjpeg.avi", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p -c:a pcm_s16le"},
    {"back.wmv", "-c:v wmv2 -g 50 -sc_threshold 1000000000 -q:v 3 -c:a wmav2"},
    {"back.ogv", "-c:v libtheora -g 50 -q:v 7 -c:a libvorbis"},
    {"back.webm", "-c:v libvpx -g 50 -b:v 1M -deadline realtime -c:a libvorbis"},
    {"back.m3u8", "-c:v libx264 -g 50 -c:a aac -hls_time 4 -hls_playlist_type vod"},
    {"back_fragments.m3u8",
     "-c:v libx264 -g 50 -c:a aac -hls_time 4 -hls_playlist_type vod -hls_segment_type fmp4"},
    {"back.mpd", "-c:v libx264 -g 50 -c:a aac -f dash -seg_duration 4"},
};

class BackwardScanning : public testing::TestWithParam<SoughtClip> {};

TEST_P(BackwardScanning, ShowsFourPicturesASecond) {
  const SoughtClip& clip = GetParam();
  SteppedClock clock;
  EngineHarness harness([&](platform::MainQueue& queue, const platform::Clock&) {
    return std::make_unique<media::MediaEngine>(queue, clock);
  });
  platform::MediaLoad load;
  load.playing = false;
  load.startSeconds = kEnd;
  harness.load(
      TestMedia::shared().url(clip.name,
                              "-f lavfi -i testsrc=size=320x180:rate=25:duration=16 -f lavfi"
                              " -i sine=frequency=440:duration=16 -map 3 -map 4 -pix_fmt yuv420p " +
                                  std::string(clip.options)),
      load);
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("pause") > 0 || harness.error(); }));
  ASSERT_FALSE(harness.error()) << harness.error()->description();
  for (const double rate : {-8.0, -16.0}) {
    SCOPED_TRACE(rate);
    const int seeks = harness.count("seek");
    harness.call([](platform::MediaEngine& engine) { engine.seek(kEnd); });
    ASSERT_TRUE(harness.waitForEvent("seek", seeks));
    const int ends = harness.count("end");
    const auto before = harness.frames().serial();
    harness.call([&](platform::MediaEngine& engine) { engine.play(rate); });
    ASSERT_TRUE(harness.waitForEvent("play " + std::to_string(static_cast<int>(rate))));
    ASSERT_TRUE(harness.waitUntil([&] { return harness.frames().serial() > before; }));
    double last = harness.frame()->time;
    EXPECT_LE(kEnd - last, 2 * kKeyInterval + kFirstKey) << "not always the last key frame before";
    while (harness.count("end") == ends) {
      const auto serial = harness.frames().serial();
      clock.advance(kQuarter);
      // The clock does not wake the engine.
      static_cast<media::MediaEngine&>(harness.engine()).ping([] {});
      ASSERT_TRUE(harness.waitUntil([&] {
        return harness.frames().serial() > serial || harness.count("end") > ends || harness.error();
      }));
      ASSERT_FALSE(harness.error()) << harness.error()->description();
      const double shown = harness.frame()->time;
      EXPECT_TRUE(shown < last || shown < kFirstKey) << last << " is followed by " << shown;
      EXPECT_LE(last - shown, std::max(-rate / 4, kKeyInterval) + kFirstKey);
      last = shown;
    }
    EXPECT_LT(last, kFirstKey);
  }
}

std::string soughtClipName(const testing::TestParamInfo<SoughtClip>& clip) {
  std::string name = clip.param.name;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Media, BackwardScanning, testing::ValuesIn(kSoughtClips), soughtClipName);

}  // namespace
}  // namespace testing_media
