// Covers of items without video.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "media/pipeline/CoverImage.h"
#include "media/pipeline/MappedFrame.h"
#include "platform/foundation/Value.h"
#include "platform/media/TimedMetadataItem.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

/// A red image is input 3.
constexpr const char* kInput = "-f lavfi -i color=red:size=90x60:rate=1:duration=1";

struct CoverClip {
  const char* name;
  const char* options;
  bool hasVideo = false;
};
void PrintTo(const CoverClip& clip, std::ostream* out) { *out << clip.name; }

constexpr CoverClip kCoverClips[] = {
    {"cover.mp3", "-map 1 -map 3 -c:a libmp3lame -c:v mjpeg -disposition:v attached_pic"},
    {"cover.m4a", "-map 1 -map 3 -c:a aac -c:v png -disposition:v attached_pic"},
    {"cover.flac", "-map 1 -map 3 -c:a flac -c:v png -disposition:v attached_pic"},
    {"cover_film.mp4",
     "-map 0 -map 1 -map 3 -c:v:0 libx264 -pix_fmt:v:0 yuv420p -c:v:1 png -c:a aac "
     "-disposition:v:1 attached_pic",
     true},
};

/// Returns Y, Cb and Cr of the center.
std::vector<int> centerOf(const media::VideoFrame& frame) {
  const auto at = [&](std::size_t plane, int x, int y) {
    return int{frame.planes[plane].data[static_cast<std::size_t>(y) * frame.planes[plane].stride +
                                        static_cast<std::size_t>(x)]};
  };
  return {at(0, frame.width / 2, frame.height / 2), at(1, frame.width / 4, frame.height / 4),
          at(2, frame.width / 4, frame.height / 4)};
}

void expectRed(const media::VideoFrame& frame, bool isGray = false) {
  ASSERT_EQ(frame.matrix, media::VideoMatrix::BT601);
  const std::vector<int> red = isGray            ? std::vector{76, 128, 128}
                               : frame.fullRange ? std::vector{76, 85, 255}
                                                 : std::vector{81, 90, 240};
  const auto center = centerOf(frame);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(center[i], red[i], 7) << i;
}

class CoverArt : public testing::TestWithParam<CoverClip> {};

TEST_P(CoverArt, IsThePictureOfAnItemWithoutVideo) {
  const CoverClip& clip = GetParam();
  EngineHarness harness;
  platform::MediaLoad load;
  load.playing = false;
  const std::string options = std::string(kInput) + " " + clip.options + " -metadata artist=Anna";
  harness.load(TestMedia::shared().url(clip.name, options), load);
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("pause") > 0 || harness.error(); }));
  ASSERT_FALSE(harness.error()) << harness.error()->description();
  ASSERT_TRUE(harness.waitUntil([&] { return harness.frame() != nullptr; }));
  const platform::MediaFacts facts = harness.engine().facts();
  EXPECT_EQ(facts.hasCover, !clip.hasVideo);
  EXPECT_EQ(std::ranges::count(facts.tracks, "video", &platform::MediaTrack::mediaType),
            clip.hasVideo ? 1 : 0);
  EXPECT_EQ(std::ranges::count(facts.timedMetadata, platform::Value("artist"),
                               &platform::TimedMetadataItem::key),
            1);
  const auto frame = harness.frame();
  EXPECT_TRUE(frame->sharedMemory);
  EXPECT_EQ(frame->width, clip.hasVideo ? 320 : 90);
  if (!clip.hasVideo) expectRed(*frame);

  // The cover stays after a seek, and to the end.
  harness.call([](platform::MediaEngine& engine) {
    engine.seek(2.5);
    engine.play(1);
  });
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
  EXPECT_FALSE(harness.error());
  if (!clip.hasVideo) {
    ASSERT_TRUE(harness.frame());
    EXPECT_EQ(harness.frame()->width, 90);
  }
}

std::string nameOfCover(const testing::TestParamInfo<CoverClip>& clip) {
  std::string name = clip.param.name;
  std::ranges::replace(name, '.', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, CoverArt, testing::ValuesIn(kCoverClips), nameOfCover);

/// Returns the image that ffmpeg makes of a red picture with these options.
std::vector<std::uint8_t> imageOf(const std::string& name, const std::string& size,
                                  const std::string& options) {
  TestMedia::shared().url(name, "-f lavfi -i color=red:size=" + size +
                                    ":rate=1:duration=1 -map 3 -frames:v 1 " + options);
  std::ifstream file(TestMedia::shared().path(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(CoverImage, IsDecodedFromEachFormatAndScaledDown) {
  gst_init(nullptr, nullptr);
  struct Case {
    const char* name;
    const char* size;
    const char* options;
    int width;
    int height;
    bool isGray = false;
  };
  const Case cases[] = {
      {"still.jpg", "90x60", "-pix_fmt yuvj444p", 90, 60},
      {"large.jpg", "3000x1500", "-pix_fmt yuvj420p", media::kMaxCoverSize,
       media::kMaxCoverSize / 2},
      {"gray.png", "90x60", "-pix_fmt gray", 90, 60, true},
      {"still.png", "90x60", "-pix_fmt rgb24", 90, 60},
      {"alpha.png", "90x60", "-pix_fmt rgba", 90, 60},
      {"palette.png", "90x60", "-pix_fmt pal8", 90, 60},
      {"still.bmp", "2x2", "", 2, 2},
      {"still.webp", "90x60", "-pix_fmt yuv420p", 90, 60},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    const auto sample = media::decodeCover(imageOf(each.name, each.size, each.options));
    ASSERT_TRUE(sample);
    const auto frame = media::MappedFrame::make(sample.get(), 0, nullptr);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->width, each.width);
    EXPECT_EQ(frame->height, each.height);
    expectRed(*frame, each.isGray);
  }
}

TEST(CoverImage, ThatIsDamagedOrTooCostlyIsNotDecoded) {
  gst_init(nullptr, nullptr);
  using Image = std::vector<std::uint8_t>;
  const Image png = imageOf("still.png", "90x60", "-pix_fmt rgb24");
  const Image jpeg = imageOf("still.jpg", "90x60", "-pix_fmt yuvj444p");
  const auto changed = [](Image bytes, std::size_t at, std::initializer_list<std::uint8_t> values) {
    std::ranges::copy(values, bytes.begin() + static_cast<std::ptrdiff_t>(at));
    return bytes;
  };
  Image scans = jpeg;
  for (int i = 0; i < 100; ++i) scans.insert(scans.end(), {0xFF, 0xDA});
  Image large = png;
  large.resize(std::size_t{17} << 20U);
  const std::pair<const char*, Image> cases[] = {
      {"empty", {}},
      {"a text", {'c', 'o', 'v', 'e', 'r'}},
      {"a signature alone", Image(png.begin(), png.begin() + 8)},
      {"a header alone", Image(jpeg.begin(), jpeg.begin() + 20)},
      {"width and height of 65536", changed(png, 16, {0, 1, 0, 0, 0, 1, 0, 0})},
      {"too many scans", scans},
      {"too many bytes", large},
  };
  for (const auto& [what, bytes] : cases) EXPECT_FALSE(media::decodeCover(bytes)) << what;
}

}  // namespace
}  // namespace testing_media
