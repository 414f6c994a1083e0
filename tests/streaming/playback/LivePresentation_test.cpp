#include <gtest/gtest.h>

#include "streaming/playback/PlayedPresentation.h"
#include "tests/streaming/playback/PlayBench.h"

namespace streaming::test {
namespace {

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
