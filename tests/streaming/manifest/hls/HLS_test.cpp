#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/streaming/manifest/hls/HLSTexts.h"

namespace streaming::test {
namespace {

TEST(HLS, IsDetectedByItsFirstBytes) {
  const struct {
    std::string_view bytes;
    bool isWhole;
    std::optional<ManifestType> expected;
  } cases[] = {
      {"#EXTM3U\n", false, ManifestType::HLS},
      {"\xEF\xBB\xBF \r\n#EXTM3U", false, ManifestType::HLS},
      {"# made by hand\n#\n#EXTM3U", false, ManifestType::HLS},
      {"# made by", false, std::nullopt},
      {"# a script\necho", false, ManifestType::None},
      {"#EXT", false, std::nullopt},
      {"#EXT", true, ManifestType::None},
      {"<?xml version=\"1.0\"?>\n<!-- > --><MPD ", false, ManifestType::DASH},
      {"<d:MPD xmlns:d=\"x\">", false, ManifestType::DASH},
      {"<?xml version=\"1.0\"?>", false, std::nullopt},
      {"<!DOCTYPE html><html>", false, ManifestType::None},
      {"<SmoothStreamingMedia >", false, ManifestType::None},
      {"\x47 transport", false, ManifestType::None},
      {"", true, ManifestType::None},
  };
  for (const auto& each : cases)
    EXPECT_EQ(detectManifestType(each.bytes, each.isWhole), each.expected) << each.bytes;
  const std::string comment = "<!-- " + std::string(2000, 'x') + " -->";
  EXPECT_EQ(detectManifestType(comment + "<MPD>", false), ManifestType::DASH);
}

TEST(HLS, ReadsSegmentsOfAMediaPlaylist) {
  const auto playlist = playlistOf(
      "#EXTM3U\r\n#EXT-X-TARGETDURATION:4\r\n#EXT-X-MEDIA-SEQUENCE:7\r\n"
      "#EXT-X-MAP:URI=\"init.mp4\",BYTERANGE=\"100@0\"\r\n"
      "#EXT-X-KEY:METHOD=AES-128,URI=\"key\",IV=0x00000000000000000000000000000102\r\n"
      "#EXTINF:4,title\r\n#EXT-X-BYTERANGE:1000@100\r\nall.mp4\r\n"
      "#EXTINF:2.5\r\n#EXT-X-BYTERANGE:500\r\nall.mp4\r\n"
      "#EXT-X-DISCONTINUITY\r\n#EXT-X-KEY:METHOD=NONE\r\n#EXT-X-GAP\r\n#EXTINF:4,\r\nb.ts\r\n"
      "#EXTINF:4,\r\nb.ts\r\n#EXT-X-ENDLIST");
  ASSERT_NE(playlist, nullptr);
  EXPECT_FALSE(playlist->isLive);
  EXPECT_FALSE(playlist->reload);
  const auto segments = segmentsOf(*playlist);
  ASSERT_EQ(segments.size(), 4u) << "the same URI twice are two segments";
  EXPECT_EQ(segments[0].number, 7u);
  EXPECT_EQ(segments[0].resource.urls.front(), "http://host/path/all.mp4");
  EXPECT_EQ(segments[0].resource.span, (ByteSpan{100, 1000}));
  EXPECT_EQ(segments[1].resource.span, (ByteSpan{1100, 500}));
  EXPECT_EQ(segments[1].start, 4);
  EXPECT_EQ(segments[0].initialization, segments[1].initialization);
  EXPECT_EQ(segments[0].initialization->resource.span, (ByteSpan{0, 100}));
  ASSERT_NE(segments[0].key, nullptr);
  EXPECT_EQ(segments[0].key->url, "http://host/path/key");
  EXPECT_EQ(segments[0].key->initialVector->at(14), std::byte{1});
  EXPECT_TRUE(segments[2].isGap);
  EXPECT_EQ(segments[2].key, nullptr);
  EXPECT_EQ(segments[2].discontinuity, segments[1].discontinuity + 1);
  EXPECT_FALSE(segments[3].isGap);
  EXPECT_EQ(segments[3].end(), 14.5);
  EXPECT_EQ(playlist->segments->at(4)->number, 8u);
  EXPECT_EQ(playlist->segments->at(6.6)->number, 9u);
  EXPECT_FALSE(playlist->segments->at(14.5));
}

TEST(HLS, ReadsUnusualPlaylists) {
  const struct {
    std::string text;
    const char* expected;  // NAME+DURATION[@OFFSET] of each segment, or "gap"
  } cases[] = {
      {"\xEF\xBB\xBF# by hand\r\n#EXTM3U\r\n#EXTINF:4,\r\n \ta.ts \r\n\r\n#EXTINF:5\nb",
       "a.ts+4 b+5 "},
      {"#EXTM3U\n#" + std::string(5000, 'x') + "\n#EXTINF: 4.5 ,a,b\na\n", "a+4.5 "},
      {"#EXTM3U\n#EXTINF:-1,\na\n#EXTINF:nan,\nb\n#EXTINF:1e308,\nc\n#EXTINF:999999999,\nd\n",
       "a+0 b+0 c+0 d+86400 "},
      {"#EXTM3U\n#EXTINF:3,\n#EXTINF:4,\na\nstray\n#EXTINF:4,\na\n", "a+4 a+4 "},
      {"#EXTM3U\n#EXTINF:4,\na\x01\n#EXTINF:4,\nb\n", "gap b+4 "},
      {"#EXTM3U\n#EXTINF:1,\n#EXT-X-BYTERANGE:9@5\na\n#EXTINF:1,\n#EXT-X-BYTERANGE:9\na\n"
       "#EXTINF:1,\n#EXT-X-BYTERANGE:9\nb\n#EXTINF:1,\na\n",
       "a+1@5 a+1@14 b+1@0 a+1 "},
      // Byte ranges of parts do not change the default offset of segments.
      {"#EXTM3U\n#EXT-X-PART:DURATION=1,URI=\"a\",BYTERANGE=\"5@0\"\n"
       "#EXT-X-PART:DURATION=1,URI=\"a\",BYTERANGE=\"4\"\n"
       "#EXTINF:2,\n#EXT-X-BYTERANGE:9\na\n#EXT-X-PART:DURATION=1,URI=\"a\",BYTERANGE=\"5\"\n",
       "a+2@0 a+1@9 "},
      {"#EXTM3U\n#EXT-X-DEFINE:NAME=\"v\",VALUE=\"x/y\"\n#EXT-X-DEFINE:QUERYPARAM=\"token\"\n"
       "#EXT-X-DEFINE:IMPORT=\"master\"\n#EXT-X-DEFINE:IMPORT=\"nobody\"\n"
       "#EXTINF:1,\n{$v}{$token}{$master}{$nobody}\n",
       "x/y1M%7B$nobody%7D+1 "},
  };
  PlaylistContext context;
  context.variables["master"] = "M";
  for (const auto& each : cases) {
    const auto playlist = playlistOf(each.text, context);
    ASSERT_NE(playlist, nullptr) << each.text;
    std::ostringstream actual;
    for (const Segment& segment : segmentsOf(*playlist)) {
      if (segment.isGap) {
        actual << "gap ";
        continue;
      }
      actual << segment.resource.urls.front().substr(17) << '+' << segment.duration;
      if (segment.resource.span) actual << '@' << segment.resource.span->offset;
      actual << ' ';
    }
    EXPECT_EQ(actual.str(), each.expected) << each.text;
  }
}

TEST(HLS, ChoosesTheMostUsableKey) {
  const std::string sample = "#EXT-X-KEY:METHOD=SAMPLE-AES,";
  const std::string system = sample + "URI=\"data:,x\",KEYFORMAT=\"urn:uuid:1\"\n";
  const std::string sender = sample + "URI=\"skd://key\",KEYFORMAT=\"com.system\"\n";
  const struct {
    std::string tags;
    const char* key;  // of the next segment
  } cases[] = {
      {"#EXT-X-KEY:METHOD=AES-128,URI=\"k\"\n", "http://host/path/k"},
      {"#EXT-X-KEY:METHOD=AES-128,URI=\"k\"\n#EXT-X-KEY:METHOD=NONE\n", ""},
      {"#EXT-X-KEY:METHOD=AES-128,URI=\"data:,0123\"\n", "data:,0123"},
      {"#EXT-X-KEY:METHOD=AES-128,URI=\"k\"\n#EXTINF:1,\nx\n#EXT-X-KEY:METHOD=AES-128,URI=\"l\"\n",
       "http://host/path/l"},
      {system + sender, "skd://key"},
      {sender + system, "skd://key"},
      {system + sender + sample + "URI=\"k\",KEYFORMAT=\"identity\"\n", "http://host/path/k"},
      {"#EXT-X-KEY:METHOD=SAMPLE-AES-CTR,URI=\"k\"\n", ""},
      {"#EXT-X-KEY:METHOD=AES-128\n", ""},
  };
  for (const auto& each : cases) {
    const auto playlist = playlistOf("#EXTM3U\n" + each.tags + "#EXTINF:1,\na\n");
    const auto key = playlist->segments->last({})->key;
    EXPECT_EQ(key ? key->url : "", each.key) << each.tags;
  }
  const auto playlist = playlistOf(
      "#EXTM3U\n#EXT-X-KEY:METHOD=AES-128,URI=\"k\",IV=0xA\n#EXT-X-MAP:URI=\"i\"\n"
      "#EXT-X-KEY:METHOD=NONE\n#EXTINF:1,\na\n");
  const Segment segment = *playlist->segments->first({});
  EXPECT_EQ(segment.key, nullptr);
  ASSERT_NE(segment.initialization->key, nullptr) << "the key of a map is the one before it";
  EXPECT_EQ(segment.initialization->key->initialVector->back(), std::byte{10});
}

TEST(HLS, ReadsTracksOfAMultivariantPlaylist) {
  const auto manifest = hlsManifestOf(
      "#EXTM3U\n#EXT-X-DEFINE:NAME=\"dir\",VALUE=\"media\"\n#EXT-X-CONTENT-STEERING:SERVER-URI="
      "\"x\"\n"
      "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"aac\",NAME=\"English\",LANGUAGE=\"en\",DEFAULT=YES,"
      "URI=\"en.m3u8\"\n"
      "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"ec3\",NAME=\"English\",LANGUAGE=\"en\",URI=\"en3.m3u8\"\n"
      "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"aac\",NAME=\"Ton\",LANGUAGE=\"de\",AUTOSELECT=NO,"
      "CHARACTERISTICS=\"public.accessibility.describes-video\",URI=\"de.m3u8\"\n"
      "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"t\",NAME=\"Schilder\",LANGUAGE=\"de\",FORCED=YES,"
      "URI=\"t.m3u8\"\n"
      "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"Schilder\",LANGUAGE=\"de\","
      "URI=\"s.m3u8\"\n"
      "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"c\",NAME=\"CC\",INSTREAM-ID=\"CC1\"\n"
      "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"d\",NAME=\"CC\",INSTREAM-ID=\"CC1\"\n"
      "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"c\",NAME=\"CC\",INSTREAM-ID=\"SERVICE1\"\n"
      "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"c\",NAME=\"CC\",INSTREAM-ID=\"SERVICE64\"\n"
      "#EXT-X-STREAM-INF:BANDWIDTH=2000,RESOLUTION=640x360,CODECS=\"avc1.4d,mp4a.40.2\","
      "AUDIO=\"aac\",SUBTITLES=\"t\"\n{$dir}/mid.m3u8\n"
      "#EXT-X-STREAM-INF:BANDWIDTH=1000,CODECS=\"avc1.4d,mp4a.40.2\",AUDIO=\"aac\"\nlow.m3u8\n"
      "#EXT-X-STREAM-INF:BANDWIDTH=1000,CODECS=\"avc1.4d,mp4a.40.2\",AUDIO=\"aac\"\nlow.m3u8\n"
      "#EXT-X-STREAM-INF:BANDWIDTH=3000,CODECS=\"avc1.4d,ec-3,stpp\",AUDIO=\"ec3\","
      "SUBTITLES=\"s\"\n{$dir}/mid.m3u8\n"
      "#EXT-X-STREAM-INF:BANDWIDTH=64,CODECS=\"mp4a.40.2\",AUDIO=\"aac\"\nen.m3u8\n"
      "#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=100,URI=\"frames.m3u8\"\n");
  ASSERT_NE(manifest.presentation, nullptr);
  EXPECT_EQ(manifest.variables.at("dir"), "media");
  std::string actual;
  for (const Track& track : manifest.presentation->periods.at(0).tracks) {
    actual += track.id + (track.isDefault ? "!" : "") + (track.isForced ? "F" : "") + ":";
    for (const auto& each : track.representations)
      actual += ' ' + each->playlistURL.substr(17) + (each->isKeyFramesOnly ? "*" : "") +
                (each->includesAudio ? "+" : "");
    actual += '\n';
  }
  EXPECT_EQ(actual,
            "video: frames.m3u8* low.m3u8 media/mid.m3u8 media/mid.m3u8\n"
            "audio:en:English!: en.m3u8 en3.m3u8\n"
            "audio:de:Ton: de.m3u8\n"
            "text:de:Schilder:forcedF: t.m3u8\n"
            "text:de:Schilder: s.m3u8\n"
            "CC1:\n"
            "SERVICE1:\n");
  const Track& english = manifest.presentation->periods[0].tracks[1];
  EXPECT_EQ(english.representations[1]->group, "ec3");
  EXPECT_EQ(english.representations[1]->codecs, std::vector<std::string>{"ec-3"});
  const auto& tracks = manifest.presentation->periods[0].tracks;
  EXPECT_EQ(tracks[3].representations[0]->textFormat, TextFormat::WebVTT);
  EXPECT_EQ(tracks[4].representations[0]->textFormat, TextFormat::MP4);
  EXPECT_THAT(tracks[2].characteristics, testing::ElementsAre("describes-video", "auxiliary"));
}

TEST(HLS, ReadsMuxedAudio) {
  const auto tracksOf = [](std::string_view text) {
    std::string actual;
    const auto manifest = hlsManifestOf(text);
    for (const Track& track : manifest.presentation->periods[0].tracks) {
      actual += track.id + (track.isMuxedIntoVideo ? "(within)" : "");
      for (const auto& each : track.representations) actual += each->includesAudio ? "+" : "-";
      actual += ' ';
    }
    return actual + (manifest.mediaPlaylist ? "alone" : "");
  };
  const std::string info = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1";
  EXPECT_EQ(tracksOf(info + "\na.m3u8\n"), "video+ audio(within) ");
  EXPECT_EQ(tracksOf(info + ",CODECS=\"avc1.4d\"\na.m3u8\n"), "video- ");
  EXPECT_EQ(tracksOf(info + ",CODECS=\"mp4a.40.2\"\na.m3u8\n"), "audio- ");
  EXPECT_EQ(tracksOf("#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"x\"\n"
                     "#EXT-X-STREAM-INF:BANDWIDTH=1,AUDIO=\"a\"\na.m3u8\n"),
            "video+ audio::x(within) ");
  EXPECT_EQ(tracksOf("#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"x\"\n"
                     "#EXT-X-STREAM-INF:BANDWIDTH=1,CODECS=\"mp4a.40.2\",AUDIO=\"a\"\na.m3u8\n"),
            "audio::x- ");
  EXPECT_EQ(tracksOf("#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"b\",NAME=\"x\",URI=\"x\"\n"
                     "#EXT-X-STREAM-INF:BANDWIDTH=1\na.m3u8\n"),
            "video+ audio(within) audio::x- ");
  EXPECT_EQ(tracksOf("#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\na.ts\n#EXT-X-ENDLIST"),
            "video+ audio(within) alone");
  EXPECT_EQ(tracksOf("#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\na.aac?x\n#EXT-X-ENDLIST"),
            "audio- alone");
}

}  // namespace
}  // namespace streaming::test
