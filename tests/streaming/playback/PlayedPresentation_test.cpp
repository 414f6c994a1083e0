#include "streaming/playback/PlayedPresentation.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/streaming/playback/PlayBench.h"

namespace streaming::test {
namespace {

/// A media playlist of `count` segments of four seconds: "name1.ts", "name2.ts" …
std::string playlistOf(const std::string& name, int first, int count, bool hasEnded,
                       const std::string& head = {}) {
  std::string text = "#EXTM3U\n#EXT-X-VERSION:6\n#EXT-X-TARGETDURATION:4\n" + head +
                     "#EXT-X-MEDIA-SEQUENCE:" + std::to_string(first) + "\n";
  for (int i = first; i < first + count; ++i)
    text += "#EXTINF:4,\n" + name + std::to_string(i) + ".ts\n";
  if (hasEnded) text += "#EXT-X-ENDLIST\n";
  return text;
}

void addSegments(ScriptedTransfers& network, const std::string& name, int first, int count,
                 std::size_t size = 100) {
  for (int i = first; i < first + count; ++i)
    network.add("http://a/" + name + std::to_string(i) + ".ts", std::string(size, 'a'));
}

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

/// A live playlist whose window of six segments slides: `first` is its first one.
void setLive(PlayBench& bench, int first, bool hasEnded = false) {
  bench.network->add("http://a/live", playlistOf("s", first, 6, hasEnded));
  addSegments(*bench.network, "s", first, 6);
}

const std::string kLive = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=500000\nlive\n";

TEST(LivePresentation, BeginsThreeSegmentsBeforeItsEndAndGoesOn) {
  PlayBench bench(kLive);
  setLive(bench, 10);
  bench.prepare({}, 0.5);
  EXPECT_EQ(bench.began, 12);
  EXPECT_EQ(bench.read(), (Lines{"s13.ts", "s14.ts", "s15.ts"}));
  const auto timeline = bench.played->timeline(12);
  EXPECT_TRUE(timeline.isLive);
  EXPECT_EQ(timeline.duration, TVSDurationIndefinite);
  EXPECT_EQ(timeline.seekable, (std::vector<platform::TimeRange>{{0, 12}}));
  Lines lines;
  for (int first = 11; first < 20; ++first) {
    setLive(bench, first);
    const auto next = bench.play(4);
    lines.insert(lines.end(), next.begin(), next.end());
  }
  EXPECT_GE(lines.size(), 8u);
  EXPECT_EQ(lines.front(), "s16.ts");
  // One request for each segment that was added, and some for what had not changed.
  EXPECT_LE(bench.network->countOf("http://a/live"), 20u);
  EXPECT_EQ(bench.played->timeline(0).seekable, (std::vector<platform::TimeRange>{{36, 12}}));
  setLive(bench, 19, true);
  lines = bench.play(20);
  EXPECT_EQ(lines.back(), "end");
  EXPECT_FALSE(bench.played->timeline(0).isLive);
}

TEST(LivePresentation, NothingIsAskedForWhileItIsPausedAndFull) {
  PlayBench bench(kLive);
  bench.network->add("http://a/live", playlistOf("s", 0, 60, false));
  addSegments(*bench.network, "s", 0, 60);
  bench.prepare({20, {}, {}}, 1);
  bench.read(MediaKind::Video, 1);
  bench.network->advance(60);
  bench.network->forgetRequests();
  bench.network->advance(600);
  EXPECT_TRUE(bench.network->requests().empty());
  EXPECT_EQ(bench.network->timerCount(), 0u);
  // It is looked at again as soon as it plays.
  bench.played->setPosition(25);
  bench.network->advance(1);
  EXPECT_EQ(bench.network->countOf("http://a/live"), 1u);
}

TEST(LivePresentation, APlaylistThatNeverHasAnythingFails) {
  const std::string empty = "#EXTM3U\n#EXT-X-TARGETDURATION:2\n";
  const std::string begun = empty + "#EXTINF:2,\ns0.ts\n";
  const struct {
    const char* name;
    std::string first;
    std::string later;
    Lines expected;
  } cases[] = {
      {"no segment", empty, empty, {"failed -11828"}},
      {"a segment of no time", empty + "#EXTINF:0,\ns0.ts\n", empty, {"failed -11828"}},
      {"one that is to be read again after hours",
       "#EXTM3U\n#EXT-X-TARGETDURATION:1e5\n",
       begun,
       {"failed -11828"}},
      {"a segment that comes late", empty, begun, {"s0.ts"}},
      {"one that has begun and stays as it is", begun, begun, {"s0.ts"}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    PlayBench bench(each.first);
    bench.network->add("http://a/main", each.first);
    addSegments(*bench.network, "s", 0, 1);
    bench.prepare({}, 4);
    bench.network->add("http://a/main", each.later);
    bench.network->advance(10);
    EXPECT_EQ(bench.read(), each.expected);
  }
}

TEST(LivePresentation, APlaylistThatIsGoneForAWhileIsComeBackTo) {
  PlayBench bench(kLive);
  setLive(bench, 10);
  bench.prepare({}, 0.5);
  bench.read();
  bench.network->remove("http://a/live");
  bench.play(8);
  setLive(bench, 12);
  EXPECT_EQ(bench.play(4), (Lines{"s16.ts", "s17.ts"}));
  bench.network->remove("http://a/live");
  const Lines lines = bench.play(60);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "failed 404");
}

TEST(LivePresentation, PartsArePlayedAsTheyAreAdded) {
  PlayBench bench(kLive);
  const auto setParts = [&](int parts) {
    std::string text = playlistOf("s", 0, 4, false,
                                  "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=3\n"
                                  "#EXT-X-PART-INF:PART-TARGET=1\n");
    for (int i = 0; i < parts; ++i) {
      const std::string name = "p" + std::to_string(i) + ".ts";
      text += "#EXT-X-PART:DURATION=1,URI=\"" + name + "\"\n";
      bench.network->add("http://a/" + name, "part");
    }
    // The server answers the request for what it announces once that is there.
    text += "#EXT-X-PRELOAD-HINT:TYPE=PART,URI=\"p" + std::to_string(parts) + ".ts\"\n";
    ScriptedTransfers::Resource awaited;
    awaited.body = "part";
    awaited.delay = 1.5;
    bench.network->add("http://a/p" + std::to_string(parts) + ".ts", awaited);
    bench.network->setFallback([text](const TransferRequest& request) {
      std::optional<ScriptedTransfers::Resource> found;
      if (request.url.starts_with("http://a/live?")) {
        found.emplace();
        found->body = text;
      }
      return found;
    });
    bench.network->add("http://a/live", text);
  };
  addSegments(*bench.network, "s", 0, 4);
  setParts(1);
  bench.prepare({}, 0.5);
  EXPECT_EQ(bench.began, 14);
  EXPECT_EQ(bench.read(), (Lines{"s3.ts", "p0.ts"}));
  setParts(3);
  EXPECT_EQ(bench.play(3), (Lines{"p1.ts", "p2.ts"}));
  for (const char* part : {"1", "2", "3"})
    EXPECT_EQ(bench.network->countOf("http://a/p" + std::string(part) + ".ts"), 1u) << part;
  // The server is told what is waited for.
  EXPECT_TRUE(
      std::any_of(bench.network->requests().begin(), bench.network->requests().end(),
                  [](const std::string& url) { return url.find("_HLS_part") != url.npos; }));
}

TEST(LivePresentation, AWindowThatHasSlidPastIsCaughtUpWith) {
  PlayBench bench(kLive);
  setLive(bench, 10);
  bench.prepare({}, 0.5);
  bench.read();
  setLive(bench, 100);
  bench.play(8);
  const auto known = bench.played->timeline(0).seekable;
  ASSERT_FALSE(known.empty());
  EXPECT_EQ(known.front().start, 360);
  bench.seek(365);
  bench.network->advance(1);
  EXPECT_EQ(bench.read(MediaKind::Video, 1), Lines{"s101.ts"});
}

}  // namespace
}  // namespace streaming::test
