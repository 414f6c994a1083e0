#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "streaming/manifest/EventKeys.h"
#include "streaming/manifest/ManifestReader.h"

namespace streaming {
namespace {

const ManifestOrigin kPlaylistOrigin{"http://host/path/main.m3u8?token=1", {}, false};

HLSManifest manifestOf(std::string_view text) {
  auto result = readHLS(text, kPlaylistOrigin);
  if (const auto* error = std::get_if<platform::Error>(&result)) {
    ADD_FAILURE() << error->description();
    return {};
  }
  return std::get<HLSManifest>(std::move(result));
}

std::shared_ptr<const MediaPlaylist> playlistOf(std::string_view text,
                                                const PlaylistContext& context = {}) {
  auto result = readMediaPlaylist(text, kPlaylistOrigin, context);
  const auto* playlist = std::get_if<std::shared_ptr<const MediaPlaylist>>(&result);
  return playlist ? *playlist : nullptr;
}

std::vector<Segment> segmentsOf(const MediaPlaylist& playlist) {
  std::vector<Segment> segments;
  auto next = playlist.segments->first({});
  while (next && segments.size() < 1000) {
    segments.push_back(*next);
    next = playlist.segments->after(segments.back());
  }
  return segments;
}

TEST(HLS, IsToldByItsFirstBytes) {
  const struct {
    std::string_view bytes;
    bool isWhole;
    std::optional<ManifestForm> expected;
  } cases[] = {
      {"#EXTM3U\n", false, ManifestForm::HLS},
      {"\xEF\xBB\xBF \r\n#EXTM3U", false, ManifestForm::HLS},
      {"#EXT", false, std::nullopt},
      {"#EXT", true, ManifestForm::None},
      {"<?xml version=\"1.0\"?>\n<!-- > --><MPD ", false, ManifestForm::DASH},
      {"<d:MPD xmlns:d=\"x\">", false, ManifestForm::DASH},
      {"<?xml version=\"1.0\"?>", false, std::nullopt},
      {"<!DOCTYPE html><html>", false, ManifestForm::None},
      {"<SmoothStreamingMedia >", false, ManifestForm::None},
      {"\x47 transport", false, ManifestForm::None},
      {"", true, ManifestForm::None},
  };
  for (const auto& each : cases)
    EXPECT_EQ(manifestForm(each.bytes, each.isWhole), each.expected) << each.bytes;
  const std::string comment = "<!-- " + std::string(2000, 'x') + " -->";
  EXPECT_EQ(manifestForm(comment + "<MPD>", false), ManifestForm::DASH);
}

TEST(HLS, SegmentsOfAMediaPlaylist) {
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

TEST(HLS, ALivePlaylistContinuesOverReloads) {
  const auto text = [](int first, int count, std::string_view more = {}) {
    std::string playlist =
        "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(first) + "\n" +
        std::string(more);
    for (int at = first; at < first + count; ++at)
      playlist += "#EXTINF:2,\n" + std::to_string(at) + ".ts\n";
    return playlist;
  };
  PlaylistContext context;
  context.previous = playlistOf(text(10, 3));
  EXPECT_TRUE(context.previous->isLive);
  EXPECT_EQ(context.previous->reload->interval, 2);
  const Segment last = *context.previous->segments->last({});
  EXPECT_FALSE(context.previous->segments->after(last));
  const struct {
    std::string playlist;
    std::uint64_t next;  // behind the last one of the first version
    double start;
  } cases[] = {
      {text(11, 3), 13, 6},   // slides by one
      {text(10, 5), 13, 6},   // grows
      {text(15, 2), 15, 10},  // two were missed
      {text(1, 2), 1, 6},     // numbered anew
  };
  for (const auto& each : cases) {
    const auto playlist = playlistOf(each.playlist, context);
    const auto next = playlist->segments->after(last);
    ASSERT_TRUE(next) << each.playlist;
    EXPECT_EQ(next->number, each.next);
    EXPECT_EQ(next->start, each.start);
  }
  // A delta update is completed from the version before.
  const auto delta = playlistOf(
      "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:11\n"
      "#EXT-X-SKIP:SKIPPED-SEGMENTS=2\n#EXTINF:2,\n13.ts\n",
      context);
  ASSERT_NE(delta, nullptr);
  const auto segments = segmentsOf(*delta);
  ASSERT_EQ(segments.size(), 3u);
  EXPECT_EQ(segments[0].resource.urls.front(), "http://host/path/11.ts");
  EXPECT_EQ(segments[2].start, 6);
  EXPECT_EQ(playlistOf("#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:90\n"
                       "#EXT-X-SKIP:SKIPPED-SEGMENTS=2\n#EXTINF:2,\n92.ts\n",
                       context),
            nullptr);
  // Another playlist of the programme is laid beside it.
  PlaylistContext other;
  other.beside = context.previous;
  EXPECT_EQ(playlistOf(text(11, 2), other)->segments->first({})->start, 2);
}

TEST(HLS, PartsAtTheEdgeComeBeforeTheirSegment) {
  const std::string head =
      "#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXT-X-PART-INF:PART-TARGET=1\n"
      "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=3,CAN-SKIP-UNTIL=24\n"
      "#EXT-X-MEDIA-SEQUENCE:5\n#EXTINF:4,\n5.mp4\n";
  PlaylistContext context;
  context.previous = playlistOf(head +
                                "#EXT-X-PART:DURATION=1,URI=\"6.0.mp4\",INDEPENDENT=YES\n"
                                "#EXT-X-PART:DURATION=1,URI=\"6.1.mp4\"\n"
                                "#EXT-X-PRELOAD-HINT:TYPE=PART,URI=\"6.2.mp4\"\n");
  const auto segments = segmentsOf(*context.previous);
  ASSERT_EQ(segments.size(), 3u);
  EXPECT_EQ(segments[1].part, 0u);
  EXPECT_EQ(segments[2].resource.urls.front(), "http://host/path/6.1.mp4");
  EXPECT_EQ(segments[2].start, 5);
  EXPECT_EQ(reloadURL("http://host/a", *context.previous->reload),
            "http://host/a?_HLS_msn=6&_HLS_part=2&_HLS_skip=YES");
  const auto next = playlistOf(head +
                                   "#EXT-X-PART:DURATION=1,URI=\"6.0.mp4\"\n"
                                   "#EXT-X-PART:DURATION=1,URI=\"6.1.mp4\"\n"
                                   "#EXT-X-PART:DURATION=1,URI=\"6.2.mp4\"\n"
                                   "#EXT-X-PART:DURATION=1,URI=\"6.3.mp4\"\n#EXTINF:4,\n6.mp4\n"
                                   "#EXTINF:4,\n7.mp4\n",
                               context);
  auto segment = next->segments->after(segments[2]);
  ASSERT_TRUE(segment);
  EXPECT_EQ(segment->part, 2u);
  segment = next->segments->after(*next->segments->after(*segment));
  ASSERT_TRUE(segment);
  EXPECT_EQ(segment->number, 7u);
  EXPECT_FALSE(segment->part);
}

TEST(HLS, DatesAndEventsHavePositions) {
  PlaylistContext context;
  context.previous = playlistOf(
      "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-PROGRAM-DATE-TIME:2026-01-01T00:00:00Z\n"
      "#EXT-X-DATERANGE:ID=\"ad\",CLASS=\"break\",START-DATE=\"2026-01-01T00:00:03Z\","
      "DURATION=1.5,X-NAME=\"Cola\"\n#EXTINF:2,\n0.ts\n#EXTINF:2,\n1.ts\n");
  ASSERT_EQ(context.previous->events.size(), 1u);
  const PresentationEvent& event = context.previous->events[0];
  EXPECT_EQ(event.position, 3);
  EXPECT_EQ(event.item.key, platform::Value("break"));
  EXPECT_EQ(event.item.keySpace, kKeySpaceDateRanges);
  EXPECT_EQ(event.item.extraAttributes.get(kEventDuration), platform::Value(1.5));
  // The mark has left the window and still dates it.
  const auto next = playlistOf(
      "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:1\n"
      "#EXTINF:2,\n1.ts\n#EXTINF:2,\n2.ts\n",
      context);
  ASSERT_EQ(next->dates.size(), 1u);
  EXPECT_EQ(next->dates[0].position, 0);
}

TEST(HLS, TracksOfAMultivariantPlaylist) {
  const auto manifest = manifestOf(
      "#EXTM3U\n#EXT-X-DEFINE:NAME=\"dir\",VALUE=\"media\"\n#EXT-X-CONTENT-STEERING:SERVER-URI="
      "\"x\"\n"
      "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"aac\",NAME=\"English\",LANGUAGE=\"en\",DEFAULT=YES,"
      "URI=\"en.m3u8\"\n"
      "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"ec3\",NAME=\"English\",LANGUAGE=\"en\",URI=\"en3.m3u8\"\n"
      "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"aac\",NAME=\"Ton\",LANGUAGE=\"de\",AUTOSELECT=NO,"
      "CHARACTERISTICS=\"public.accessibility.describes-video\",URI=\"de.m3u8\"\n"
      "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"t\",NAME=\"Schilder\",LANGUAGE=\"de\",FORCED=YES,"
      "URI=\"t.m3u8\"\n"
      "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"c\",NAME=\"CC\",INSTREAM-ID=\"CC1\"\n"
      "#EXT-X-STREAM-INF:BANDWIDTH=2000,RESOLUTION=640x360,CODECS=\"avc1.4d,mp4a.40.2\","
      "AUDIO=\"aac\",SUBTITLES=\"t\"\n{$dir}/mid.m3u8\n"
      "#EXT-X-STREAM-INF:BANDWIDTH=1000,CODECS=\"avc1.4d,mp4a.40.2\",AUDIO=\"aac\"\nlow.m3u8\n"
      "#EXT-X-STREAM-INF:BANDWIDTH=1000,CODECS=\"avc1.4d,mp4a.40.2\",AUDIO=\"aac\"\nlow.m3u8\n"
      "#EXT-X-STREAM-INF:BANDWIDTH=3000,CODECS=\"avc1.4d,ec-3\",AUDIO=\"ec3\"\n{$dir}/mid.m3u8\n"
      "#EXT-X-STREAM-INF:BANDWIDTH=64,CODECS=\"mp4a.40.2\",AUDIO=\"aac\"\nen.m3u8\n"
      "#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=100,URI=\"frames.m3u8\"\n");
  ASSERT_NE(manifest.presentation, nullptr);
  EXPECT_EQ(manifest.variables.at("dir"), "media");
  std::string told;
  for (const Track& track : manifest.presentation->periods.at(0).tracks) {
    told += track.id + (track.isDefault ? "!" : "") + (track.isForced ? "F" : "") + ":";
    for (const auto& each : track.representations)
      told += ' ' + each->playlistURL.substr(17) + (each->isKeyFramesOnly ? "*" : "") +
              (each->carriesSound ? "+" : "");
    told += '\n';
  }
  EXPECT_EQ(told,
            "video: frames.m3u8* low.m3u8 media/mid.m3u8 media/mid.m3u8\n"
            "audio:en:English!: en.m3u8 en3.m3u8\n"
            "audio:de:Ton: de.m3u8\n"
            "text:de:SchilderF: t.m3u8\n"
            "CC1:\n");
  const Track& english = manifest.presentation->periods[0].tracks[1];
  EXPECT_EQ(english.representations[1]->group, "ec3");
  EXPECT_EQ(english.representations[1]->codecs, std::vector<std::string>{"ec-3"});
  EXPECT_THAT(manifest.presentation->periods[0].tracks[2].characteristics,
              testing::ElementsAre("describes-video", "auxiliary"));
}

TEST(HLS, SoundWithinThePicture) {
  const auto tracksOf = [](std::string_view text) {
    std::string told;
    const auto manifest = manifestOf(text);
    for (const Track& track : manifest.presentation->periods[0].tracks) {
      told += track.id + (track.isWithinPicture ? "(within)" : "");
      for (const auto& each : track.representations) told += each->carriesSound ? "+" : "-";
      told += ' ';
    }
    return told + (manifest.mediaPlaylist ? "alone" : "");
  };
  const std::string info = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1";
  EXPECT_EQ(tracksOf(info + "\na.m3u8\n"), "video+ audio(within) ");
  EXPECT_EQ(tracksOf(info + ",CODECS=\"avc1.4d\"\na.m3u8\n"), "video- ");
  EXPECT_EQ(tracksOf(info + ",CODECS=\"mp4a.40.2\"\na.m3u8\n"), "audio- ");
  EXPECT_EQ(tracksOf("#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"x\"\n"
                     "#EXT-X-STREAM-INF:BANDWIDTH=1,AUDIO=\"a\"\na.m3u8\n"),
            "video+ audio::x(within) ");
  EXPECT_EQ(tracksOf("#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\na.ts\n#EXT-X-ENDLIST"),
            "video+ audio(within) alone");
  EXPECT_EQ(tracksOf("#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\na.aac?x\n#EXT-X-ENDLIST"),
            "audio- alone");
}

TEST(HLS, RefusesWhatCannotBePlayed) {
  const std::string variables = [] {
    std::string text =
        "#EXTM3U\n#EXT-X-DEFINE:NAME=\"v\",VALUE=\"" + std::string(60000, 'x') + "\"\n";
    for (int line = 0; line < 10000; ++line) text += "#EXTINF:1,\n{$v}\n";
    return text;
  }();
  for (const std::string& text :
       {std::string(), std::string("#EXTM3U\n"), std::string("#EXTINF:1,\na.ts\n"),
        std::string("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\n"),
        std::string("#EXTM3U\n#EXTINF:1,\n#EXT-X-ENDLIST\n"),
        std::string("#EXTM3U\n#EXTINF:1,\na.vtt\n#EXT-X-ENDLIST\n"),
        "#EXTM3U\n#EXTINF:1,\n" + std::string(70000, 'a') + "\n", variables}) {
    const auto result = readHLS(text, kPlaylistOrigin);
    EXPECT_TRUE(std::holds_alternative<platform::Error>(result)) << text.substr(0, 60);
  }
}

TEST(HLS, AnyChangeToAPlaylistIsReadOrRefused) {
  const std::string good =
      "#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXT-X-MEDIA-SEQUENCE:3\n#EXT-X-PART-INF:PART-TARGET=1\n"
      "#EXT-X-PROGRAM-DATE-TIME:2026-01-01T00:00:00Z\n#EXT-X-MAP:URI=\"i\",BYTERANGE=\"9@0\"\n"
      "#EXT-X-KEY:METHOD=AES-128,URI=\"k\"\n#EXTINF:4,\n#EXT-X-BYTERANGE:5@4\na\n"
      "#EXT-X-DISCONTINUITY\n#EXTINF:4,\nb\n#EXT-X-PART:DURATION=1,URI=\"c\"\n"
      "#EXT-X-SKIP:SKIPPED-SEGMENTS=18446744073709551615\n";
  std::mt19937 random(1);
  const auto pick = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
  constexpr std::string_view kPieces[] = {"18446744073709551615", "-1", "nan", "1e308", "\n", "\"",
                                          "#EXT-X-ENDLIST\n",     "0",  "@",   ",",     "="};
  PlaylistContext context;
  for (int round = 0; round < 3000; ++round) {
    std::string text = good;
    for (int change = 0; change < 3; ++change) {
      const std::size_t at = pick(text.size());
      if (pick(2) == 0)
        text.erase(at, pick(20));
      else
        text.insert(at, kPieces[pick(std::size(kPieces))]);
    }
    readHLS(text, kPlaylistOrigin);
    const auto playlist = playlistOf(text, context);
    if (!playlist) continue;
    for (const Segment& segment : segmentsOf(*playlist)) {
      EXPECT_GE(segment.duration, 0);
      EXPECT_TRUE(playlist->segments->at(segment.start) || segment.duration == 0);
    }
    if (pick(4) == 0) context.previous = playlist;
  }
}

}  // namespace
}  // namespace streaming
