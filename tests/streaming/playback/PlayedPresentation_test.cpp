#include "streaming/playback/PlayedPresentation.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/streaming/playback/PlayBench.h"

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

/// Both variants with both languages, and a subtitle.
std::unique_ptr<PlayBench> makeVariants(int count = 20) {
  auto bench = std::make_unique<PlayBench>(kVariants);
  for (const char* name : {"v-low", "v-high", "en-low", "en-high", "de-low", "de-high"}) {
    bench->network->add("http://a/" + std::string(name),
                        playlistOf(std::string(name) + "/", 1, count, true));
    addSegments(*bench->network, std::string(name) + "/", 1, count, 100'000);
  }
  std::string texts = playlistOf("text/", 1, count, true);
  for (auto at = texts.find(".ts"); at != texts.npos; at = texts.find(".ts"))
    texts.replace(at, 3, ".vtt");
  bench->network->add("http://a/text", texts);
  for (int i = 1; i <= count; ++i)
    bench->network->add("http://a/text/" + std::to_string(i) + ".vtt", "WEBVTT");
  return bench;
}

TEST(PlayedPresentation, BeginsWithThePictureAndTheDefaultSound) {
  const auto bench = makeVariants();
  bench->throughput->remember(1e8);
  bench->prepare();
  EXPECT_EQ(bench->ready, 1);
  EXPECT_FALSE(bench->error);
  EXPECT_EQ(bench->began, 0);
  EXPECT_EQ(bench->read(MediaKind::Video, 2), (Lines{"v-high/1.ts", "v-high/2.ts"}));
  EXPECT_EQ(bench->read(MediaKind::Audio, 2), (Lines{"en-high/1.ts", "en-high/2.ts"}));
  // Nothing of what is not selected, nor of other variants.
  for (const std::string& url : bench->network->requests()) {
    EXPECT_EQ(url.find("de-"), url.npos) << url;
    EXPECT_EQ(url.find("low"), url.npos) << url;
    EXPECT_EQ(url.find("text"), url.npos) << url;
  }
  const auto timeline = bench->played->timeline(5);
  EXPECT_EQ(timeline.duration, 80);
  EXPECT_FALSE(timeline.isLive);
  EXPECT_EQ(timeline.seekable, (std::vector<platform::TimeRange>{{0, 80}}));
  ASSERT_EQ(timeline.loaded.size(), 1u);
  EXPECT_GE(timeline.loaded.front().duration, 28);
  EXPECT_FALSE(timeline.isLoadedToEnd);
  EXPECT_EQ(bench->network->timerCount(), 0u);
}

struct StartCase {
  const char* name;
  PresentationPlayback::Start start;
  double seconds;
};

/// The tracks of a manifest without codecs are those that the demuxer finds.
TEST(PlayedPresentation, OffersWhatTheMediaHold) {
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
    PieceContent content;
    Lines tracks;
  } cases[] = {
      {"both", alone, {true, true}, {"video", "audio"}},
      {"a picture", alone, {true, false}, {"video"}},
      {"a sound", alone, {false, true}, {"audio"}},
      {"all variants are alike", withHigh(""), {true, false}, {"video"}},
      {"but one says that it has more",
       withHigh(",RESOLUTION=640x360,CODECS=\"avc1.4d401e,mp4a.40.2\""),
       {false, true},
       {"video", "audio"}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    PlayBench bench(each.manifest);
    for (const char* name : {"low", "high"})
      bench.network->add("http://a/" + std::string(name), playlistOf("v", 1, 3, true));
    bench.prepare();
    bench.network->run();
    const int before = bench.changes;
    const auto& first = bench.played->presentation()->periods[0].tracks[0].representations[0];
    const auto reader = bench.played->reader(MediaKind::Video);
    for (int times = 0; times < 2; ++times) {
      reader->noteContent(*first, each.content);
      bench.network->run();
    }
    Lines tracks;
    for (const Track& track : bench.played->tracksAt(0)) tracks.push_back(track.id);
    EXPECT_EQ(tracks, each.tracks);
    EXPECT_EQ(bench.changes - before, 1);
  }
}

TEST(PlayedPresentation, BeginsWhereItIsTold) {
  const std::vector<StartCase> cases = {
      {"seconds", {30, {}, {}}, 30},
      {"beyond the end", {500, {}, {}}, 80},
      {"a fraction", {{}, 0.5, {}}, 40},
      {"a date without dates", {{}, {}, platform::Date{5}}, 0},
      {"a date without dates, and seconds", {12, {}, platform::Date{5}}, 12},
  };
  for (const StartCase& each : cases) {
    SCOPED_TRACE(each.name);
    const auto bench = makeVariants();
    bench->prepare(each.start);
    EXPECT_EQ(bench->began, each.seconds);
    EXPECT_EQ(bench->network->countOf("http://a/v-high/1.ts") +
                  bench->network->countOf("http://a/v-low/1.ts"),
              each.seconds < 4 ? 1u : 0u);
  }
}

TEST(PlayedPresentation, AnotherLanguageIsReadAfterASeek) {
  const auto bench = makeVariants();
  bench->throughput->remember(1e8);
  bench->prepare();
  bench->read(MediaKind::Audio, 1);
  TrackSelection selection = bench->played->selection();
  for (const Track& track : bench->played->tracksAt(0))
    if (track.kind == MediaKind::Audio && track.language == "de") selection.audio = track.id;
  bench->played->select(selection);
  bench->seek(9);
  bench->network->advance(1);
  EXPECT_EQ(bench->read(MediaKind::Audio, 2), (Lines{"de-high/3.ts", "de-high/4.ts"}));
  EXPECT_EQ(bench->read(MediaKind::Video, 1), Lines{"v-high/3.ts"});
  EXPECT_EQ(bench->network->countOf("http://a/v-high/3.ts"), 1u);
}

TEST(PlayedPresentation, TextsComeWholeInOrderAndAgainAfterASeek) {
  const auto bench = makeVariants();
  Lines texts;
  bench->played->whenText([&](const TrackPiece& piece, bool isFirst) {
    texts.push_back((isFirst ? "*" : "") + piece.segment.resource.urls.front().substr(9));
  });
  bench->prepare();
  EXPECT_TRUE(texts.empty());
  TrackSelection selection = bench->played->selection();
  for (const Track& track : bench->played->tracksAt(0))
    if (track.kind == MediaKind::Text) selection.text = track.id;
  EXPECT_FALSE(selection.text.empty());
  bench->played->select(selection);
  bench->network->advance(1);
  // Half a minute of it, not all.
  ASSERT_EQ(texts.size(), 8u);
  EXPECT_EQ(texts[0], "*text/1.vtt");
  EXPECT_EQ(texts[7], "text/8.vtt");
  texts.clear();
  const auto before = bench->network->countOf("http://a/text/3.vtt");
  bench->seek(9);
  bench->network->advance(1);
  ASSERT_GE(texts.size(), 2u);
  EXPECT_EQ(texts[0], "*text/3.vtt");
  EXPECT_EQ(texts[1], "text/4.vtt");
  EXPECT_EQ(bench->network->countOf("http://a/text/3.vtt"), before);
}

TEST(PlayedPresentation, AVariantThatIsGoneIsReplaced) {
  const auto bench = makeVariants();
  bench->throughput->remember(1e8);
  bench->network->remove("http://a/v-high");
  bench->prepare();
  EXPECT_FALSE(bench->error);
  EXPECT_EQ(bench->read(MediaKind::Video, 1), Lines{"v-low/1.ts"});
  EXPECT_EQ(bench->record->faults().size(), 1u);
}

TEST(PlayedPresentation, WhatIsWrongWithTheSoundDoesNotStopThePicture) {
  const auto bench = makeVariants();
  bench->network->remove("http://a/en-low");
  bench->network->remove("http://a/en-high");
  bench->prepare();
  EXPECT_EQ(bench->ready, 1);
  EXPECT_FALSE(bench->error);
  EXPECT_EQ(bench->read(MediaKind::Video, 1).size(), 1u);
  EXPECT_EQ(bench->read(MediaKind::Audio, 1), Lines{"failed 404"});
}

TEST(PlayedPresentation, FailsWhenNothingCanBeHad) {
  struct Case {
    const char* name;
    std::string manifest;
    std::int64_t code;
  };
  const std::vector<Case> cases = {
      {"no playlist is there", kVariants, 404},
      {"nothing can be decoded",
       "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=500000,CODECS=\"none\"\nv-low\n", -11833},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    PlayBench bench(each.manifest);
    bench.prepare();
    EXPECT_EQ(bench.ready, 1);
    ASSERT_TRUE(bench.error);
    EXPECT_EQ(bench.error->code, each.code);
  }
  PlayBench broken("#EXTM3U\n");
  broken.prepare();
  EXPECT_TRUE(broken.error);
}

TEST(PlayedPresentation, AFasterNetworkIsUsedAndTold) {
  const auto bench = makeVariants();
  bench->network->setRate(1e6);
  bench->throughput->remember(6e5);
  bench->prepare();
  Lines lines = bench->play(40);
  ASSERT_GE(lines.size(), 10u);
  EXPECT_EQ(lines.front(), "v-low/1.ts");
  EXPECT_EQ(lines.back().substr(0, 6), "v-high");
  // The sound is of the group of the variant.
  const Lines sound = bench->read(MediaKind::Audio);
  ASSERT_FALSE(sound.empty());
  EXPECT_EQ(sound.front().substr(0, 6), "en-low");
  EXPECT_EQ(sound.back().substr(0, 7), "en-high");
  const auto legs = bench->record->legs(bench->network->now());
  ASSERT_EQ(legs.size(), 2u);
  EXPECT_EQ(legs[0].indicatedBitrate, 500000);
  EXPECT_TRUE(legs[1].isSwitch);
  EXPECT_EQ(bench->legs, 1);
}

TEST(PlayedPresentation, WhatCannotBeDecodedInTimeIsFetchedAgainInASmallerOne) {
  const auto bench = makeVariants();
  bench->throughput->remember(1e8);
  bench->prepare();
  EXPECT_EQ(bench->read(MediaKind::Video, 2), (Lines{"v-high/1.ts", "v-high/2.ts"}));
  bench->played->setLimits({1080, 360});
  bench->network->advance(1);
  // One more is fetched while the playlist of the other one is loaded.
  EXPECT_EQ(bench->read(MediaKind::Video, 4),
            (Lines{"v-high/3.ts", "v-high/4.ts", "v-low/5.ts", "v-low/6.ts"}));
}

TEST(PlayedPresentation, NothingComesAfterTheEnd) {
  const auto bench = makeVariants();
  bench->prepare();
  bench->played->end();
  const auto before = bench->network->requests().size();
  bench->seek(50);
  bench->played->setPosition(70);
  bench->network->advance(100);
  EXPECT_EQ(bench->network->requests().size(), before);
  EXPECT_EQ(bench->network->runningCount(), 0u);
  EXPECT_EQ(bench->network->timerCount(), 0u);
}

}  // namespace
}  // namespace streaming::test
