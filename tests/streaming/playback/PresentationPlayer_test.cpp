#include "streaming/playback/PresentationPlayer.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/streaming/playback/PlaybackFixture.h"

namespace streaming::test {
namespace {

const std::string kVariants =
    "#EXTM3U\n"
    "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"low\",NAME=\"English\",LANGUAGE=\"en\",DEFAULT=YES,"
    "URI=\"en-low\"\n"
    "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"low\",NAME=\"Deutsch\",LANGUAGE=\"de\",URI=\"de-low\"\n"
    "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"high\",NAME=\"English\",LANGUAGE=\"en\",DEFAULT=YES,"
    "URI=\"en-high\"\n"
    "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"high\",NAME=\"Deutsch\",LANGUAGE=\"de\","
    "URI=\"de-high\"\n"
    "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"texts\",NAME=\"English\",LANGUAGE=\"en\","
    "URI=\"text\"\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=500000,RESOLUTION=640x360,CODECS=\"avc1.4d401e,mp4a.40.2\","
    "AUDIO=\"low\",SUBTITLES=\"texts\"\nv-low\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=1500000,RESOLUTION=1280x720,CODECS=\"avc1.4d401f,mp4a.40.2\","
    "AUDIO=\"high\",SUBTITLES=\"texts\"\nv-high\n";

/// Two variants with two audio languages and one subtitle.
std::unique_ptr<PlaybackFixture> makeVariants(int count = 20) {
  auto fixture = std::make_unique<PlaybackFixture>(kVariants);
  for (const char* name : {"v-low", "v-high", "en-low", "en-high", "de-low", "de-high"}) {
    fixture->network->add("http://a/" + std::string(name),
                          playlistOf(std::string(name) + "/", 1, count, true));
    addSegments(*fixture->network, std::string(name) + "/", 1, count, 100'000);
  }
  std::string texts = playlistOf("text/", 1, count, true);
  for (auto at = texts.find(".ts"); at != texts.npos; at = texts.find(".ts"))
    texts.replace(at, 3, ".vtt");
  fixture->network->add("http://a/text", texts);
  for (int i = 1; i <= count; ++i)
    fixture->network->add("http://a/text/" + std::to_string(i) + ".vtt", "WEBVTT");
  return fixture;
}

TEST(PresentationPlayer, StartsWithTheVideoAndTheDefaultAudio) {
  const auto fixture = makeVariants();
  fixture->throughput->setInitialEstimate(1e8);
  fixture->prepare();
  EXPECT_EQ(fixture->ready, 1);
  EXPECT_FALSE(fixture->error);
  EXPECT_EQ(fixture->began, 0);
  EXPECT_EQ(fixture->read(MediaKind::Video, 2), (Lines{"v-high/1.ts", "v-high/2.ts"}));
  EXPECT_EQ(fixture->read(MediaKind::Audio, 2), (Lines{"en-high/1.ts", "en-high/2.ts"}));
  // No requests for unselected tracks and other variants.
  for (const std::string& url : fixture->network->requests()) {
    EXPECT_EQ(url.find("de-"), url.npos) << url;
    EXPECT_EQ(url.find("low"), url.npos) << url;
    EXPECT_EQ(url.find("text"), url.npos) << url;
  }
  const auto timeline = fixture->played->timeline(5);
  EXPECT_EQ(timeline.duration, 80);
  EXPECT_FALSE(timeline.isLive);
  EXPECT_EQ(timeline.seekable, (std::vector<platform::TimeRange>{{0, 80}}));
  ASSERT_EQ(timeline.loaded.size(), 1u);
  EXPECT_GE(timeline.loaded.front().duration, 28);
  EXPECT_FALSE(timeline.isLoadedToEnd);
  EXPECT_EQ(fixture->network->timerCount(), 0u);
}

struct StartCase {
  const char* name;
  PresentationPlayback::Start start;
  double seconds;
};

/// Without codecs in the manifest, the demuxer determines the tracks.
TEST(PresentationPlayer, ListsTheTracksFoundByTheDemuxer) {
  const std::string pair =
      "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nlow\n#EXT-X-STREAM-INF:BANDWIDTH=2%\nhigh\n";
  const auto withHigh = [&](const char* attributes) {
    std::string text = pair;
    return text.replace(text.find('%'), 1, attributes);
  };
  const std::string alone = playlistOf("v", 1, 3, true);
  const struct {
    const char* name;
    std::string manifest;
    ContainedStreams content;
    Lines tracks;
  } cases[] = {
      {"both", alone, {true, true}, {"video", "audio"}},
      {"only video", alone, {true, false}, {"video"}},
      {"only audio", alone, {false, true}, {"audio"}},
      {"all variants without codecs", withHigh(""), {true, false}, {"video"}},
      {"one variant with codecs",
       withHigh(",RESOLUTION=640x360,CODECS=\"avc1.4d401e,mp4a.40.2\""),
       {false, true},
       {"video", "audio"}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    PlaybackFixture fixture(each.manifest);
    for (const char* name : {"low", "high"})
      fixture.network->add("http://a/" + std::string(name), playlistOf("v", 1, 3, true));
    fixture.prepare();
    fixture.network->run();
    const int before = fixture.changes;
    const auto& first = fixture.played->presentation()->periods[0].tracks[0].representations[0];
    const auto reader = fixture.played->reader(MediaKind::Video);
    for (int times = 0; times < 2; ++times) {
      reader->setContainedStreams(*first, each.content);
      fixture.network->run();
    }
    Lines tracks;
    for (const Track& track : fixture.played->tracksAt(0)) tracks.push_back(track.id);
    EXPECT_EQ(tracks, each.tracks);
    EXPECT_EQ(fixture.changes - before, 1);
  }
}

TEST(PresentationPlayer, StartsAtTheRequestedPosition) {
  const std::vector<StartCase> cases = {
      {"seconds", {30, {}, {}}, 30},
      {"beyond the end", {500, {}, {}}, 80},
      {"a fraction", {{}, 0.5, {}}, 40},
      {"a date, without dates in the playlist", {{}, {}, platform::Date{5}}, 0},
      {"a date and seconds, without dates in the playlist", {12, {}, platform::Date{5}}, 12},
  };
  for (const StartCase& each : cases) {
    SCOPED_TRACE(each.name);
    const auto fixture = makeVariants();
    fixture->prepare(each.start);
    EXPECT_EQ(fixture->began, each.seconds);
    EXPECT_EQ(fixture->network->countOf("http://a/v-high/1.ts") +
                  fixture->network->countOf("http://a/v-low/1.ts"),
              each.seconds < 4 ? 1u : 0u);
  }
}

TEST(PresentationPlayer, SwitchesTheLanguageAtTheNextSeek) {
  const auto fixture = makeVariants();
  fixture->throughput->setInitialEstimate(1e8);
  fixture->prepare();
  fixture->read(MediaKind::Audio, 1);
  TrackSelection selection = fixture->played->selection();
  for (const Track& track : fixture->played->tracksAt(0))
    if (track.kind == MediaKind::Audio && track.language == "de") selection.audio = track.id;
  fixture->played->select(selection);
  fixture->seek(9);
  fixture->network->advance(1);
  EXPECT_EQ(fixture->read(MediaKind::Audio, 2), (Lines{"de-high/3.ts", "de-high/4.ts"}));
  EXPECT_EQ(fixture->read(MediaKind::Video, 1), Lines{"v-high/3.ts"});
  EXPECT_EQ(fixture->network->countOf("http://a/v-high/3.ts"), 1u);
}

TEST(PresentationPlayer, DeliversCompleteTextSegmentsInOrderAndAgainAfterASeek) {
  const auto fixture = makeVariants();
  Lines texts;
  fixture->played->whenText([&](const TrackPiece& piece, bool isFirst) {
    texts.push_back((isFirst ? "*" : "") + piece.segment.resource.urls.front().substr(9));
  });
  fixture->prepare();
  EXPECT_TRUE(texts.empty());
  TrackSelection selection = fixture->played->selection();
  for (const Track& track : fixture->played->tracksAt(0))
    if (track.kind == MediaKind::Text) selection.text = track.id;
  EXPECT_FALSE(selection.text.empty());
  fixture->played->select(selection);
  fixture->network->advance(1);
  // Only 30 seconds are loaded.
  ASSERT_EQ(texts.size(), 8u);
  EXPECT_EQ(texts[0], "*text/1.vtt");
  EXPECT_EQ(texts[7], "text/8.vtt");
  texts.clear();
  const auto before = fixture->network->countOf("http://a/text/3.vtt");
  fixture->seek(9);
  fixture->network->advance(1);
  ASSERT_GE(texts.size(), 2u);
  EXPECT_EQ(texts[0], "*text/3.vtt");
  EXPECT_EQ(texts[1], "text/4.vtt");
  EXPECT_EQ(fixture->network->countOf("http://a/text/3.vtt"), before);
}

TEST(PresentationPlayer, ReplacesAMissingVariant) {
  const auto fixture = makeVariants();
  fixture->throughput->setInitialEstimate(1e8);
  fixture->network->remove("http://a/v-high");
  fixture->prepare();
  EXPECT_FALSE(fixture->error);
  EXPECT_EQ(fixture->read(MediaKind::Video, 1), Lines{"v-low/1.ts"});
  EXPECT_EQ(fixture->record->errorLog().size(), 1u);
}

TEST(PresentationPlayer, PlaysVideoWhenTheAudioIsMissing) {
  const auto fixture = makeVariants();
  fixture->network->remove("http://a/en-low");
  fixture->network->remove("http://a/en-high");
  fixture->prepare();
  EXPECT_EQ(fixture->ready, 1);
  EXPECT_FALSE(fixture->error);
  EXPECT_EQ(fixture->read(MediaKind::Video, 1).size(), 1u);
  EXPECT_EQ(fixture->read(MediaKind::Audio, 1), Lines{"failed 404"});
}

TEST(PresentationPlayer, FailsWhenNothingIsPlayable) {
  struct Case {
    const char* name;
    std::string manifest;
    std::int64_t code;
  };
  const std::vector<Case> cases = {
      {"missing playlists", kVariants, 404},
      {"no supported codec", "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=500000,CODECS=\"none\"\nv-low\n",
       -11833},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    PlaybackFixture fixture(each.manifest);
    fixture.prepare();
    EXPECT_EQ(fixture.ready, 1);
    ASSERT_TRUE(fixture.error);
    EXPECT_EQ(fixture.error->code, each.code);
  }
  PlaybackFixture broken("#EXTM3U\n");
  broken.prepare();
  EXPECT_TRUE(broken.error);
}

TEST(PresentationPlayer, SwitchesUpOnAFasterNetworkAndLogsIt) {
  const auto fixture = makeVariants();
  fixture->network->setRate(1e6);
  fixture->throughput->setInitialEstimate(6e5);
  fixture->prepare();
  Lines lines = fixture->play(40);
  ASSERT_GE(lines.size(), 10u);
  EXPECT_EQ(lines.front(), "v-low/1.ts");
  EXPECT_EQ(lines.back().substr(0, 6), "v-high");
  // The audio group follows the variant.
  const Lines sound = fixture->read(MediaKind::Audio);
  ASSERT_FALSE(sound.empty());
  EXPECT_EQ(sound.front().substr(0, 6), "en-low");
  EXPECT_EQ(sound.back().substr(0, 7), "en-high");
  const auto accessLogEntries = fixture->record->accessLog(fixture->network->now());
  ASSERT_EQ(accessLogEntries.size(), 2u);
  EXPECT_EQ(accessLogEntries[0].indicatedBitrate, 500000);
  EXPECT_TRUE(accessLogEntries[1].isSwitch);
  EXPECT_EQ(fixture->accessLogEntries, 1);
}

TEST(PresentationPlayer, ReloadsASmallerVariantWhenTheDecoderIsTooSlow) {
  const auto fixture = makeVariants();
  fixture->throughput->setInitialEstimate(1e8);
  fixture->prepare();
  EXPECT_EQ(fixture->read(MediaKind::Video, 2), (Lines{"v-high/1.ts", "v-high/2.ts"}));
  fixture->played->setLimits({1080, 360});
  fixture->network->advance(1);
  // One more segment of the old variant is loaded while the new playlist is loading.
  EXPECT_EQ(fixture->read(MediaKind::Video, 4),
            (Lines{"v-high/3.ts", "v-high/4.ts", "v-low/5.ts", "v-low/6.ts"}));
}

TEST(PresentationPlayer, SendsNoRequestsAfterEnd) {
  const auto fixture = makeVariants();
  fixture->prepare();
  fixture->played->end();
  const auto before = fixture->network->requests().size();
  fixture->seek(50);
  fixture->played->setPosition(70);
  fixture->network->advance(100);
  EXPECT_EQ(fixture->network->requests().size(), before);
  EXPECT_EQ(fixture->network->runningCount(), 0u);
  EXPECT_EQ(fixture->network->timerCount(), 0u);
}

}  // namespace
}  // namespace streaming::test
