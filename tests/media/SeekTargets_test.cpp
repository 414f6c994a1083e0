// Seeks show the picture of the target, in media whose demuxers do not seek accurately.

#include <algorithm>
#include <cmath>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "media/support/NalUnits.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/LumaGrid.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

constexpr int kBlockColumns = 32;
constexpr int kBlockRows = 18;
constexpr double kPerSecond = 25;

constexpr const char* kTargetSource = "-f lavfi -i testsrc=size=320x180:rate=25:duration=8";
constexpr const char* kTargetCodec = " -c:v libx264 -preset veryfast -pix_fmt yuv420p";

/// Each frame of kTargetSource.
const std::vector<LumaGrid>& seekSource() {
  static const std::vector<LumaGrid> all = lumaOfSource(kTargetSource, kBlockColumns, kBlockRows);
  return all;
}

/// Returns which source frame is most similar, and its difference.
std::pair<std::size_t, double> mostSimilar(const media::VideoFrame& frame) {
  const LumaGrid seen = lumaOf(frame, kBlockColumns, kBlockRows);
  std::pair<std::size_t, double> best{0, 255};
  for (std::size_t index = 0; index < seekSource().size(); ++index) {
    const double error = difference(seen, seekSource()[index]);
    if (error < best.second) best = {index, error};
  }
  return best;
}

struct Target {
  const char* name;
  std::string options;
  /// The time of the first picture.
  double lead = 0;
};

void PrintTo(const Target& target, std::ostream* out) { *out << target.name; }

const Target kTargets[] = {
    {"fragments_within_groups.mp4",
     std::string(kTargetCodec) + " -g 75 -c:a aac -frag_duration 500000 -movflags empty_moov",
     0.08},
    {"fragments_with_index.mp4",
     std::string(kTargetCodec) + " -g 75 -c:a aac -frag_duration 500000 -movflags dash+global_sidx",
     0.08},
    {"long_groups.ts", std::string(kTargetCodec) + " -g 100 -c:a aac"},
    {"open_groups.ts", std::string(kTargetCodec) + " -x264-params keyint=50:open-gop=1 -c:a aac"},
    {"leading_pictures.ts",
     " -c:v libx265 -x265-params log-level=error:keyint=60:bframes=4:open-gop=1 -pix_fmt yuv420p"
     " -c:a aac"},
    {"mpeg2.mpg", " -c:v mpeg2video -g 15 -bf 2 -q:v 3 -c:a mp2"},
    {"open_groups.mp4", std::string(kTargetCodec) + " -x264-params keyint=50:open-gop=1 -c:a aac"},
    {"late_keys.flv", std::string(kTargetCodec) + " -g 75 -c:a aac -ar 44100", 0.08},
};

class SeekTargets : public testing::TestWithParam<Target> {};

TEST_P(SeekTargets, ShowTheirPicture) {
  const Target& target = GetParam();
  const TestMedia& media = TestMedia::shared();
  EngineHarness harness;
  platform::MediaLoad load;
  load.playing = false;
  harness.load(media.url(target.name, std::string(kTargetSource) +
                                          " -f lavfi -i sine=frequency=440:duration=8 -map 3"
                                          " -map 4" +
                                          target.options),
               load);
  ASSERT_TRUE(harness.waitForEvent("pause"));
  for (const double seconds : {6.5, 2.3, 7.1, 1.1, 4.28}) {
    SCOPED_TRACE(seconds);
    const int before = harness.count("seek");
    harness.call([&](platform::MediaEngine& engine) { engine.seek(seconds); });
    ASSERT_TRUE(
        harness.waitUntil([&] { return harness.count("seek") > before || harness.error(); }));
    ASSERT_FALSE(harness.error());
    ASSERT_TRUE(harness.waitUntil(
        [&] { return harness.frame() && std::abs(harness.frame()->time - seconds) < 0.05; }));
    const auto [index, error] = mostSimilar(*harness.frame());
    EXPECT_LT(error, 4);
    EXPECT_NEAR(static_cast<double>(index) / kPerSecond, seconds - target.lead, 0.07);
  }
}

std::string targetName(const testing::TestParamInfo<Target>& target) {
  std::string name = target.param.name;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Media, SeekTargets, testing::ValuesIn(kTargets), targetName);

TEST(SeekBehindThePicture, CompletesAndPlaysTheAudio) {
  const TestMedia& media = TestMedia::shared();
  const struct {
    const char* name;
    const char* options;
    bool showsLast = false;  // else the decoder keeps the last picture until all streams end
  } cases[] = {
      {"shorter.mp4", " -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac", true},
      {"shorter.mkv", " -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac"},
      {"shorter.ts", " -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac", true},
      {"shorter.flv", " -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac -ar 44100"},
      {"shorter.avi", " -c:v mpeg4 -q:v 2 -c:a libmp3lame", true},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    EngineHarness harness;
    platform::MediaLoad load;
    load.playing = false;
    harness.load(media.url(each.name,
                           "-f lavfi -i testsrc=size=320x180:rate=25:duration=2 -f lavfi"
                           " -i sine=frequency=440:duration=6 -map 3 -map 4" +
                               std::string(each.options)),
                 load);
    ASSERT_TRUE(harness.waitForEvent("pause"));
    for (const double seconds : {4.0, 1.0, 5.0}) {
      SCOPED_TRACE(seconds);
      const int before = harness.count("seek");
      harness.call([&](platform::MediaEngine& engine) { engine.seek(seconds); });
      ASSERT_TRUE(
          harness.waitUntil([&] { return harness.count("seek") > before || harness.error(); }));
      ASSERT_FALSE(harness.error()) << harness.error()->description();
      EXPECT_NEAR(harness.engine().position(), seconds, 0.05);
      constexpr std::size_t kLast = 49;
      const auto showsLast = [&] {
        return harness.frame() && mostSimilar(*harness.frame()).first + 1 >= kLast;
      };
      if (seconds > 2 && each.showsLast) {
        EXPECT_TRUE(harness.waitUntil(showsLast));
      }
    }
    harness.call([](platform::MediaEngine& engine) { engine.play(1); });
    ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
    EXPECT_FALSE(harness.error());
    EXPECT_GT(harness.engine().position(), 5.5);
  }
}

TEST(ReversePlayback, ShowsKeyFramesOfFragmentedMp4) {
  EngineHarness harness;
  platform::MediaLoad load;
  load.playing = false;
  load.startSeconds = 6;
  harness.load(TestMedia::shared().url("backwards.mp4", std::string(kTargetSource) + " -map 3" +
                                                            kTargetCodec +
                                                            " -g 25 -movflags"
                                                            " frag_keyframe+empty_moov"),
               load);
  ASSERT_TRUE(harness.waitForEvent("pause"));
  harness.call([](platform::MediaEngine& engine) { engine.play(-2); });
  std::vector<double> shown;
  ASSERT_TRUE(harness.waitUntil([&] {
    const auto frame = harness.frame();
    if (frame && (shown.empty() || frame->time < shown.back())) shown.push_back(frame->time);
    return harness.count("end") > 0 || harness.error();
  }));
  EXPECT_FALSE(harness.error());
  EXPECT_NEAR(harness.engine().position(), 0, 0.1);
  EXPECT_GE(shown.size(), 2u);
}

std::vector<guint8> nalBytes(std::initializer_list<int> values) {
  std::vector<guint8> bytes;
  for (const int value : values) bytes.push_back(static_cast<guint8>(value));
  return bytes;
}

TEST(KeyFrames, AreRecognisedByTheirNalUnits) {
  using media::KeyKind;
  constexpr media::NalFormat kCodes{media::NalFormat::Codec::H264, 0};
  constexpr media::NalFormat kLengths{media::NalFormat::Codec::H264, 4};
  constexpr media::NalFormat kH265Codes{media::NalFormat::Codec::H265, 0};
  // Slices: first_mb 0 is the bit 1; slice_type 7 (I) is 0001000, 5 (P) is 00110.
  const struct {
    const char* what;
    media::NalFormat format;
    std::vector<guint8> packet;
    KeyKind expected;
  } cases[] = {
      {"IDR", kCodes, nalBytes({0, 0, 0, 1, 0x09, 0xf0, 0, 0, 1, 0x65, 0x88}), KeyKind::Random},
      {"IDR with lengths", kLengths, nalBytes({0, 0, 0, 2, 0x65, 0x88}), KeyKind::Random},
      {"P", kCodes, nalBytes({0, 0, 1, 0x41, 0x9a, 0x00}), KeyKind::None},
      {"I", kCodes, nalBytes({0, 0, 1, 0x41, 0x88, 0x80}), KeyKind::Intra},
      {"I and P slices", kCodes, nalBytes({0, 0, 1, 0x41, 0x88, 0x80, 0, 0, 1, 0x41, 0x9a, 0}),
       KeyKind::None},
      {"recovery point", kCodes,
       nalBytes({0, 0, 1, 0x06, 0x01, 0x01, 0x00, 0x06, 0x01, 0xc4, 0x80, 0, 0, 1, 0x41, 0x9a, 0}),
       KeyKind::Random},
      {"other message", kCodes,
       nalBytes({0, 0, 1, 0x06, 0x05, 0x01, 0x06, 0x80, 0, 0, 1, 0x41, 0x9a, 0}), KeyKind::None},
      {"CRA", kH265Codes, nalBytes({0, 0, 1, 0x2a, 0x01, 0x80}), KeyKind::Random},
      {"TRAIL_R", kH265Codes, nalBytes({0, 0, 1, 0x02, 0x01, 0x80}), KeyKind::None},
      {"broken length", kLengths, nalBytes({0, 0, 0, 9, 0x65}), KeyKind::None},
      {"nothing", kCodes, {}, KeyKind::None},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    EXPECT_EQ(media::keyKindOf(each.packet, each.format), each.expected);
  }
}

}  // namespace
}  // namespace testing_media
