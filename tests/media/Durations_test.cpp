// The duration of media whose container does not state it.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "media/durations/MediaSpan.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

struct MeasuredClip {
  const char* name;
  const char* options;  // the first two inputs are the picture and a tone of 3 s
  double duration = 3;
};

void PrintTo(const MeasuredClip& clip, std::ostream* out) { *out << clip.name; }

constexpr MeasuredClip kMeasuredClips[] = {
    {"span.ts", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac"},
    {"span.m2ts", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a ac3 -mpegts_m2ts_mode 1"},
    {"span_wraps.ts",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac -output_ts_offset 95441"},
    {"span.mpg", "-map 0 -map 1 -c:v mpeg2video -q:v 2 -c:a mp2"},
    {"span_mpeg1.mpg", "-map 0 -map 1 -c:v mpeg1video -q:v 2 -c:a mp2 -f mpeg"},
    {"longer_audio.ts",
     "-f lavfi -i sine=frequency=440:duration=6 -map 0 -map 3 -c:v libx264 -pix_fmt yuv420p -g 25"
     " -c:a aac",
     6},
    {"audio.ts", "-map 1 -c:a aac"},
    {"constant.mp3", "-map 1 -c:a libmp3lame -b:a 128k -write_xing 0"},
    {"variable.mp3",
     "-f lavfi -i anoisesrc=d=2:a=0.4 -filter_complex [1][3]concat=n=2:v=0:a=1 -c:a libmp3lame"
     " -q:a 0 -write_xing 0",
     5},
    {"tone.mp2", "-map 1 -c:a mp2"},
    {"half_rate.mp3", "-map 1 -ar 22050 -c:a libmp3lame -write_xing 0"},
    {"variable.aac",
     "-f lavfi -i anoisesrc=d=2:a=0.4 -filter_complex [1][3]concat=n=2:v=0:a=1 -c:a aac", 5},
    {"tone.ac3", "-map 1 -ar 44100 -c:a ac3"},
    {"tone.eac3", "-map 1 -c:a eac3"},
    {"unknown.flac", "-map 1 -f flac - >"},
    {"unindexed.mp4",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -bf 0 -c:a aac"
     " -movflags frag_keyframe+empty_moov+skip_trailer"},
    {"fragment_a_track.mp4",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -bf 0 -c:a aac -frag_duration 500000"
     " -movflags empty_moov+separate_moof+default_base_moof"},
    {"live.webm",
     "-map 0 -map 1 -c:v libvpx -b:v 1M -deadline realtime -g 25 -c:a libopus -live 1"},
    {"live.mkv", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac -live 1"},
};

/// Recordings of 3 s each, longer than what is read of the start and the end.
constexpr const char* kJoined =
    "-map 0 -map 1 -vf noise=alls=60:allf=t -c:v mpeg2video -b:v 6M -minrate 6M -maxrate 6M"
    " -bufsize 2M -c:a mp2 ";
constexpr const char* kTwice =
    " - | python3 -c 'import sys; part = sys.stdin.buffer.read();"
    " sys.stdout.buffer.write(part + part)' >";
constexpr const char* kThenEarlier =
    " - | python3 -c 'import sys; part = sys.stdin.buffer.read(); middle = len(part) // 376 * 188;"
    " sys.stdout.buffer.write(part[middle:] + part[:middle])' >";

class Durations : public testing::TestWithParam<MeasuredClip> {};

TEST_P(Durations, AreCounted) {
  const MeasuredClip& clip = GetParam();
  EngineHarness harness;
  platform::MediaLoad load;
  load.playing = false;
  harness.load(TestMedia::shared().url(clip.name, clip.options), load);
  ASSERT_TRUE(harness.waitForEvent("pause"));
  const platform::MediaFacts facts = harness.engine().facts();
  EXPECT_NEAR(facts.duration, clip.duration, 0.1);
  ASSERT_EQ(facts.seekable.size(), 1u);
  EXPECT_NEAR(facts.seekable[0].start + facts.seekable[0].duration, clip.duration, 0.1);
  if (const auto frame = harness.frame()) {
    EXPECT_NEAR(frame->time, 0, 0.05);
  }

  harness.call([&](platform::MediaEngine& engine) {
    engine.seek(clip.duration - 0.5);
    engine.play(1);
  });
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
  EXPECT_FALSE(harness.error());
  EXPECT_NEAR(harness.engine().position(), clip.duration, 0.1);
}

std::string measuredClipName(const testing::TestParamInfo<MeasuredClip>& clip) {
  std::string name = clip.param.name;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Media, Durations, testing::ValuesIn(kMeasuredClips), measuredClipName);

std::optional<media::MediaSpan> measuredSpan(const std::vector<std::uint8_t>& bytes,
                                             std::uint64_t limit = 1 << 20) {
  return media::measureSpan(
      [&](std::uint64_t offset, std::span<std::uint8_t> into) {
        const std::size_t count =
            offset < bytes.size() ? std::min<std::size_t>(into.size(), bytes.size() - offset) : 0;
        std::copy_n(bytes.begin() +
                        static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(offset, bytes.size())),
                    count, into.begin());
        return count;
      },
      bytes.size(), limit);
}

TEST(MediaSpan, AddsJoinedRecordings) {
  struct Join {
    const char* name;
    std::string options;
    double duration;
    double seekable;
  };
  const Join joins[] = {
      {"joined.ts", std::string(kJoined) + "-f mpegts" + kTwice, 6, 2},
      {"joined.mpg", std::string(kJoined) + "-f vob" + kTwice, 6, 2},
      {"joined_earlier.ts", std::string(kJoined) + "-f mpegts" + kThenEarlier, 3, 0},
  };
  for (const Join& each : joins) {
    SCOPED_TRACE(each.name);
    TestMedia::shared().url(each.name, each.options);
    std::ifstream file(TestMedia::shared().path(each.name), std::ios::binary);
    const auto span =
        measuredSpan(std::vector<std::uint8_t>{std::istreambuf_iterator<char>(file), {}});
    ASSERT_TRUE(span);
    EXPECT_NEAR(span->duration, each.duration, 0.15);
    EXPECT_NEAR(span->seekable.value_or(span->duration), each.seekable, 0.5);
  }
}

TEST(MediaSpan, SurvivesDamageAndRespectsItsLimit) {
  for (const MeasuredClip& clip : kMeasuredClips) {
    SCOPED_TRACE(clip.name);
    TestMedia::shared().url(clip.name, clip.options);
    std::ifstream file(TestMedia::shared().path(clip.name), std::ios::binary);
    std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
    ASSERT_TRUE(measuredSpan(bytes));
    for (std::size_t at = 0; at < bytes.size(); at += 61)
      bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ (at * 41 + 1));
    measuredSpan(bytes);
    bytes.resize(bytes.size() / 3);
    measuredSpan(bytes);
  }
  std::ifstream file(TestMedia::shared().path("constant.mp3"), std::ios::binary);
  const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
  EXPECT_FALSE(measuredSpan(bytes, bytes.size() - 1));
  EXPECT_FALSE(measuredSpan({}));
}

}  // namespace
}  // namespace testing_media
