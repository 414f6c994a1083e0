#include <random>

#include <gtest/gtest.h>

#include "tests/streaming/manifest/hls/HLSTexts.h"

namespace streaming::test {
namespace {

TEST(HLSRobustness, RejectsUnplayablePlaylistsWithAReason) {
  const std::string begin = "#EXTM3U\n";
  const struct {
    const char* name;
    std::string text;
  } cases[] = {
      {"nothing", ""},
      {"no tag", begin},
      {"no first line", "#EXTINF:1,\na.ts\n"},
      {"a variant without a URI", begin + "#EXT-X-STREAM-INF:BANDWIDTH=1\n"},
      {"only renditions", begin + "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"a\",URI=\"u\"\n"},
      {"no segment", begin + "#EXTINF:1,\n#EXT-X-ENDLIST\n"},
      {"only subtitles", begin + "#EXTINF:1,\na.vtt?x\n#EXT-X-ENDLIST\n"},
      {"a delta update without a base",
       begin + "#EXT-X-TARGETDURATION:1\n#EXT-X-SKIP:SKIPPED-SEGMENTS=1\n"},
      {"a long line", begin + "#EXTINF:1,\n" + std::string(70000, 'a') + "\n"},
      {"too many bytes", begin + "#EXTINF:1,\na\n" + std::string(kMaxManifestBytes, '\n')},
  };
  for (const auto& each : cases) {
    const auto result = readHLS(each.text, kPlaylistOrigin);
    const auto* error = std::get_if<platform::Error>(&result);
    ASSERT_TRUE(error) << each.name;
    EXPECT_EQ(error->domain, platform::kMediaErrorDomain) << each.name;
    EXPECT_TRUE(error->localizedFailureReason) << each.name;
  }
  EXPECT_EQ(playlistOf("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nmain.m3u8\n"), nullptr)
      << "a playlist of variants that names itself";
}

std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  result.reserve(text.size() * count);
  for (std::size_t at = 0; at < count; ++at) result += text;
  return result;
}

TEST(HLSRobustness, LimitsMemoryForExpandedText) {
  const std::string begin = "#EXTM3U\n#EXT-X-TARGETDURATION:1\n";
  const std::string segment = "#EXTINF:1,\na\n";
  EXPECT_EQ(playlistOf(begin + "#EXT-X-DEFINE:NAME=\"v\",VALUE=\"" + std::string(60000, 'x') +
                       "\"\n" + repeated("#EXTINF:1,\n{$v}\n", 10000)),
            nullptr)
      << "variables";
  const ManifestOrigin deep{"http://host/" + std::string(30000, 'a') + "/b", {}, false};
  EXPECT_EQ(playlistOf(begin + repeated(segment, 5000), {}, deep), nullptr) << "a long folder";
  const ManifestOrigin asking{"http://host/b?" + std::string(30000, 'a'), {}, true};
  EXPECT_EQ(playlistOf(begin + repeated(segment, 5000), {}, asking), nullptr) << "a long query";
  EXPECT_EQ(playlistOf(begin + repeated(segment, 200'001)), nullptr) << "very many segments";
}

TEST(HLSRobustness, AlignsManyDiscontinuitiesInLinearTime) {
  const auto text = [](const std::string& first) {
    return "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXT-X-DISCONTINUITY-SEQUENCE:" + first + "\n" +
           repeated("#EXT-X-DISCONTINUITY\n#EXTINF:1,\na\n", 50'000);
  };
  PlaylistContext context;
  context.sibling = playlistOf(text("0"));
  const auto playlist = playlistOf(text("1000000"), context);
  ASSERT_NE(playlist, nullptr);
  EXPECT_EQ(playlist->segments->first({})->start, 0);
}

constexpr std::string_view kHarmlessVariants =
    "#EXTM3U\n#EXT-X-DEFINE:NAME=\"v\",VALUE=\"w\"\n"
    "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"x\",LANGUAGE=\"en\",URI=\"x\"\n"
    "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"t\",NAME=\"y\",URI=\"y\"\n"
    "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"c\",NAME=\"z\",INSTREAM-ID=\"CC1\"\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=1,RESOLUTION=2x1,CODECS=\"avc1,mp4a\",AUDIO=\"a\"\n{$v}\n"
    "#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=1,URI=\"z\"\n#EXT-X-SESSION-KEY:METHOD=NONE\n";

constexpr std::string_view kHarmlessSegments =
    "#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXT-X-MEDIA-SEQUENCE:3\n#EXT-X-PART-INF:PART-TARGET=1\n"
    "#EXT-X-PROGRAM-DATE-TIME:2026-01-01T00:00:00Z\n#EXT-X-MAP:URI=\"i\",BYTERANGE=\"9@0\"\n"
    "#EXT-X-KEY:METHOD=AES-128,URI=\"k\"\n#EXTINF:4,\n#EXT-X-BYTERANGE:5@4\na\n"
    "#EXT-X-DISCONTINUITY\n#EXTINF:4,\nb\n#EXT-X-PART:DURATION=1,URI=\"c\"\n"
    "#EXT-X-DATERANGE:ID=\"r\",START-DATE=\"2026-01-01T00:00:03Z\",END-ON-NEXT=YES\n";

/// Changes `text` randomly, or truncates it.
std::string randomlyChanged(std::string text, std::mt19937& random) {
  constexpr std::string_view kPieces[] = {
      "18446744073709551615", "-1", "nan", "1e308", "\n", "\"",
      "#EXT-X-ENDLIST\n",     "0",  "@",   ",",     "=",  "\n#EXT-X-SKIP:SKIPPED-SEGMENTS=1\n"};
  const auto pick = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
  if (pick(4) == 0) return text.substr(0, pick(text.size()));
  for (int change = 0; change < 3; ++change) {
    const std::size_t at = pick(text.size());
    if (pick(2) == 0)
      text.erase(at, pick(20));
    else
      text.insert(at, kPieces[pick(std::size(kPieces))]);
  }
  return text;
}

TEST(HLSRobustness, SurvivesRandomChangesOfAPlaylist) {
  std::mt19937 random(1);
  PlaylistContext context;
  for (int round = 0; round < 1500; ++round) {
    const auto result =
        readHLS(randomlyChanged(std::string(kHarmlessVariants), random), kPlaylistOrigin);
    if (const auto* manifest = std::get_if<HLSManifest>(&result)) {
      for (const Track& track : manifest->presentation->periods.at(0).tracks)
        EXPECT_TRUE(!track.representations.empty() || track.isMuxedIntoVideo ||
                    !track.captionChannel.empty());
    }
    const auto playlist =
        playlistOf(randomlyChanged(std::string(kHarmlessSegments), random), context);
    if (!playlist) continue;
    for (const Segment& segment : segmentsOf(*playlist)) {
      EXPECT_GE(segment.duration, 0);
      EXPECT_TRUE(segment.isGap || !segment.resource.urls.empty());
      EXPECT_TRUE(playlist->segments->at(segment.start) || segment.duration == 0);
    }
    if (random() % 4 == 0) context.previous = playlist;
    if (random() % 4 == 0) context.sibling = playlist;
  }
}

}  // namespace
}  // namespace streaming::test
