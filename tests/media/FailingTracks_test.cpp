// Items of which a part cannot be decoded.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/foundation/Error.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using platform::MediaErrorCode;
using Replacements = std::vector<std::pair<std::string, std::string>>;

const Replacements kUnknownAudio{{"mp4a", "zzqq"}, {"esds", "free"}};
const Replacements kUnknownVideo{{"avc1", "zzqq"}};

struct FailingTrack {
  const char* name;
  Replacements replacements;
  int video;
  int audio;
};

void PrintTo(const FailingTrack& track, std::ostream* out) { *out << track.name; }

/// Replaces bytes of a clip of H.264 and AAC and returns the URL of the result.
std::string changedClip(const char* name, const Replacements& replacements) {
  const TestMedia& media = TestMedia::shared();
  media.url("h264_aac.mp4", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a aac");
  std::ifstream in(media.path("h264_aac.mp4"), std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(in), {}};
  for (const auto& [from, to] : replacements)
    for (std::size_t at = bytes.find(from); at != bytes.npos; at = bytes.find(from, at))
      bytes.replace(at, from.size(), to);
  std::ofstream(media.path(name), std::ios::binary) << bytes;
  return media.url(name);
}

class FailingTracks : public testing::TestWithParam<FailingTrack> {};

TEST_P(FailingTracks, DoNotEndTheItem) {
  const FailingTrack& each = GetParam();
  EngineHarness harness;
  harness.load(changedClip((std::string(each.name) + ".mp4").c_str(), each.replacements));
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
  ASSERT_FALSE(harness.error()) << harness.error()->description();
  EXPECT_EQ(harness.count("play 1"), 1);
  EXPECT_EQ(harness.count("end"), 1);
  EXPECT_NEAR(harness.engine().facts().duration, 3, 0.15);
  const auto tracks = [&](std::string_view kind) {
    const auto facts = harness.engine().facts();
    return std::count_if(facts.tracks.begin(), facts.tracks.end(),
                         [&](const auto& track) { return track.mediaType == kind; });
  };
  EXPECT_EQ(tracks("video"), each.video);
  EXPECT_EQ(tracks("audio"), each.audio);
  EXPECT_EQ(harness.frame() != nullptr, each.video > 0);
  const auto failures = harness.engine().failedRequests();
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].error.code, static_cast<std::int64_t>(MediaErrorCode::DecoderNotFound));
}

TEST(FailingTracksAlone, DamagedAudioDoesNotEndTheItem) {
  EngineHarness harness;
  harness.load(TestMedia::shared().url(
      "noise.mkv", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a aac -bsf:a noise=amount=1"));
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
  EXPECT_FALSE(harness.error());
  EXPECT_EQ(harness.count("play 1"), 1);
  EXPECT_NE(harness.frame(), nullptr);
  EXPECT_EQ(harness.engine().failedRequests().size(), 1U);
}

struct Garbage {
  const char* name;
  const char* options;
  std::size_t failures = 1;  // in the error log
};
void PrintTo(const Garbage& garbage, std::ostream* out) { *out << garbage.name; }

constexpr Garbage kGarbage[] = {
    {"h264_mkv", "-c:v libx264 -pix_fmt yuv420p -c:a aac -f matroska"},
    {"h264_mp4", "-c:v libx264 -pix_fmt yuv420p -c:a aac -f mp4"},
    {"h265_mp4",
     "-c:v libx265 -x265-params log-level=error -tag:v hvc1 -pix_fmt yuv420p -c:a aac -f mp4"},
    {"vp9_webm", "-c:v libvpx-vp9 -b:v 1M -deadline realtime -cpu-used 8 -c:a libopus -f webm"},
    {"mpeg4_avi", "-c:v mpeg4 -c:a libmp3lame -f avi"},
    // ffmpeg writes no garbage into transport streams: what follows the PES headers is changed.
    // parsebin leaves a stream out whose parser finds no format.
    {"h264_ts", R"(-bsf:v null -c:v libx264 -pix_fmt yuv420p -c:a aac -f mpegts - | python3 -c '
import random, sys
stream = bytearray(sys.stdin.buffer.read())
for at in range(0, len(stream), 188):
    if stream[at + 1] & 31 == 1 and stream[at + 2] == 0:
        adaptation = 1 + stream[at + 4] if stream[at + 3] & 32 else 0
        start = at + 4 + adaptation + (19 if stream[at + 1] & 64 else 0)
        count = max(0, at + 188 - start)
        stream[at + 188 - count:at + 188] = random.Random(at).randbytes(count)
sys.stdout.buffer.write(stream)' >)",
     0},
};

class GarbageVideo : public testing::TestWithParam<Garbage> {};

TEST_P(GarbageVideo, LetsTheAudioPlaySoon) {
  const Garbage& each = GetParam();
  EngineHarness harness;
  harness.load(
      TestMedia::shared().url(std::string("garbage_") + each.name,
                              std::string("-map 0 -map 1 -bsf:v noise=amount=1 ") + each.options));
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("play 1") > 0 || harness.error(); },
                                std::chrono::seconds(10)))
      << "earlier than the time-out";
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
  ASSERT_FALSE(harness.error()) << harness.error()->description();
  EXPECT_NEAR(harness.engine().facts().duration, 3, 0.15);
  EXPECT_EQ(harness.frame(), nullptr);
  EXPECT_EQ(harness.engine().failedRequests().size(), each.failures);
}

INSTANTIATE_TEST_SUITE_P(All, GarbageVideo, testing::ValuesIn(kGarbage),
                         [](const testing::TestParamInfo<Garbage>& garbage) {
                           return std::string(garbage.param.name);
                         });

std::string nameOfTrack(const testing::TestParamInfo<FailingTrack>& track) {
  return track.param.name;
}

INSTANTIATE_TEST_SUITE_P(All, FailingTracks,
                         testing::Values(FailingTrack{"unknown_audio", kUnknownAudio, 1, 0},
                                         FailingTrack{"unknown_video", kUnknownVideo, 0, 1}),
                         nameOfTrack);

TEST(FailingTracksAlone, EndTheItemIfNoneIsLeft) {
  Replacements all = kUnknownAudio;
  all.insert(all.end(), kUnknownVideo.begin(), kUnknownVideo.end());
  EngineHarness harness;
  harness.load(changedClip("unknown_both.mp4", all));
  ASSERT_TRUE(harness.waitUntil([&] { return harness.error().has_value(); }));
  EXPECT_EQ(harness.error()->code, static_cast<std::int64_t>(MediaErrorCode::DecoderNotFound));
  EXPECT_EQ(harness.count("fail"), 1);
}

TEST(FailingTracksAlone, TracksWithoutADescriptionAreIgnored) {
  EngineHarness harness;
  harness.load(TestMedia::shared().url("no_description.mp4",
                                       "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a aac",
                                       "no-description"));
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
  ASSERT_FALSE(harness.error()) << harness.error()->description();
  EXPECT_EQ(harness.engine().facts().tracks.size(), 1U);
  EXPECT_NE(harness.frame(), nullptr);
}

/// The first frame of MP3 is behind 300 kB of zeros, where no type is detected.
TEST(FailingTracksAlone, AreSearchedBehindRubbish) {
  const TestMedia& media = TestMedia::shared();
  media.url("noxing.mp3", "-map 1 -c:a libmp3lame -write_xing 0 -id3v2_version 0");
  std::ifstream in(media.path("noxing.mp3"), std::ios::binary);
  std::ofstream(media.path("late.mp3"), std::ios::binary)
      << std::string(300'000, '\0') << in.rdbuf();
  EngineHarness harness;
  harness.load(media.url("late.mp3"));
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
  EXPECT_FALSE(harness.error());
  EXPECT_EQ(harness.count("play 1"), 1);
}

/// Ends each track of an FLV after a few packets: from tag `damaged` on, the demuxer finds no tags.
std::string damagedFlv(std::size_t damaged) {
  const TestMedia& media = TestMedia::shared();
  const char* const clip = "damaged_tags.flv";
  media.url(clip, "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a aac");
  std::ifstream in(media.path(clip), std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(in), {}};
  constexpr std::size_t kHeader = 13;
  constexpr std::size_t kTag = 15;  // its header, and its size once more behind it
  const auto byteAt = [&](std::size_t at) -> std::size_t {
    return static_cast<unsigned char>(bytes.at(at));
  };
  std::size_t at = kHeader;
  for (std::size_t tag = 0; tag < damaged; ++tag)
    at += kTag + (byteAt(at + 1) << 16U | byteAt(at + 2) << 8U | byteAt(at + 3));
  bytes.replace(at, 4, "\x3d\xff\xff\xff");
  const std::string name = "damaged_tag_" + std::to_string(damaged) + ".flv";
  std::ofstream(media.path(name), std::ios::binary) << bytes;
  return media.url(name);
}

/// The tracks of these files have one or two packets, or one track has none.
TEST(FailingTracksAlone, PlayUntilADamagedTag) {
  EngineHarness harness;
  for (std::size_t damaged = 4; damaged < 8; ++damaged) {
    SCOPED_TRACE(damaged);
    harness.load(damagedFlv(damaged));
    ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
    EXPECT_FALSE(harness.error()) << harness.error()->description();
  }
}

}  // namespace
}  // namespace testing_media
