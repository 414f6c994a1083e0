#include <gtest/gtest.h>

#include "streaming/playback/PresentationPlayer.h"
#include "tests/streaming/playback/PlaybackFixture.h"

namespace streaming::test {
namespace {

/// A live playlist with a window of six segments, starting with `first`.
void setLive(PlaybackFixture& fixture, int first, bool hasEnded = false) {
  fixture.network->add("http://a/live", playlistOf("s", first, 6, hasEnded));
  addSegments(*fixture.network, "s", first, 6);
}

const std::string kLive = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=500000\nlive\n";

TEST(LivePresentation, StartsThreeSegmentsBeforeTheEndAndContinues) {
  PlaybackFixture fixture(kLive);
  setLive(fixture, 10);
  fixture.prepare({}, 0.5);
  EXPECT_EQ(fixture.began, 12);
  EXPECT_EQ(fixture.read(), (Lines{"s13.ts", "s14.ts", "s15.ts"}));
  const auto timeline = fixture.played->timeline(12);
  EXPECT_TRUE(timeline.isLive);
  EXPECT_EQ(timeline.duration, TVSDurationIndefinite);
  EXPECT_EQ(timeline.seekable, (std::vector<platform::TimeRange>{{0, 12}}));
  Lines lines;
  for (int first = 11; first < 20; ++first) {
    setLive(fixture, first);
    const auto next = fixture.play(4);
    lines.insert(lines.end(), next.begin(), next.end());
  }
  EXPECT_GE(lines.size(), 8u);
  EXPECT_EQ(lines.front(), "s16.ts");
  // One request for each new segment, and some for unchanged playlists.
  EXPECT_LE(fixture.network->countOf("http://a/live"), 20u);
  EXPECT_EQ(fixture.played->timeline(0).seekable, (std::vector<platform::TimeRange>{{36, 12}}));
  setLive(fixture, 19, true);
  lines = fixture.play(20);
  EXPECT_EQ(lines.back(), "end");
  EXPECT_FALSE(fixture.played->timeline(0).isLive);
}

TEST(LivePresentation, SendsNoRequestsWhilePausedWithAFullBuffer) {
  PlaybackFixture fixture(kLive);
  fixture.network->add("http://a/live", playlistOf("s", 0, 60, false));
  addSegments(*fixture.network, "s", 0, 60);
  fixture.prepare({20, {}, {}}, 1);
  fixture.read(MediaKind::Video, 1);
  fixture.network->advance(60);
  fixture.network->forgetRequests();
  fixture.network->advance(600);
  EXPECT_TRUE(fixture.network->requests().empty());
  EXPECT_EQ(fixture.network->timerCount(), 0u);
  // Reloading continues with playback.
  fixture.played->setPosition(25);
  fixture.network->advance(1);
  EXPECT_EQ(fixture.network->countOf("http://a/live"), 1u);
}

TEST(LivePresentation, FailsWhenThePlaylistStaysEmpty) {
  const std::string empty = "#EXTM3U\n#EXT-X-TARGETDURATION:2\n";
  const std::string begun = empty + "#EXTINF:2,\ns0.ts\n";
  const struct {
    const char* name;
    std::string first;
    std::string later;
    Lines expected;
  } cases[] = {
      {"no segment", empty, empty, {"failed -11828"}},
      {"a segment with zero duration", empty + "#EXTINF:0,\ns0.ts\n", empty, {"failed -11828"}},
      {"a reload interval of hours",
       "#EXTM3U\n#EXT-X-TARGETDURATION:1e5\n",
       begun,
       {"failed -11828"}},
      {"a late first segment", empty, begun, {"s0.ts"}},
      {"no further segments", begun, begun, {"s0.ts"}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    PlaybackFixture fixture(each.first);
    fixture.network->add("http://a/main", each.first);
    addSegments(*fixture.network, "s", 0, 1);
    fixture.prepare({}, 4);
    fixture.network->add("http://a/main", each.later);
    fixture.network->advance(10);
    EXPECT_EQ(fixture.read(), each.expected);
  }
}

TEST(LivePresentation, ContinuesAfterAMissingPlaylistReturns) {
  PlaybackFixture fixture(kLive);
  setLive(fixture, 10);
  fixture.prepare({}, 0.5);
  fixture.read();
  fixture.network->remove("http://a/live");
  fixture.play(8);
  setLive(fixture, 12);
  EXPECT_EQ(fixture.play(4), (Lines{"s16.ts", "s17.ts"}));
  fixture.network->remove("http://a/live");
  const Lines lines = fixture.play(60);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "failed 404");
}

TEST(LivePresentation, PlaysPartsAsTheyAreAdded) {
  PlaybackFixture fixture(kLive);
  const auto setParts = [&](int parts) {
    std::string text = playlistOf("s", 0, 4, false,
                                  "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=3\n"
                                  "#EXT-X-PART-INF:PART-TARGET=1\n");
    for (int i = 0; i < parts; ++i) {
      const std::string name = "p" + std::to_string(i) + ".ts";
      text += "#EXT-X-PART:DURATION=1,URI=\"" + name + "\"\n";
      fixture.network->add("http://a/" + name, "part");
    }
    // The server answers the request for the hint when the part exists.
    text += "#EXT-X-PRELOAD-HINT:TYPE=PART,URI=\"p" + std::to_string(parts) + ".ts\"\n";
    ScriptedTransfers::Resource awaited;
    awaited.body = "part";
    awaited.delay = 1.5;
    fixture.network->add("http://a/p" + std::to_string(parts) + ".ts", awaited);
    fixture.network->setFallback([text](const TransferRequest& request) {
      std::optional<ScriptedTransfers::Resource> found;
      if (request.url.starts_with("http://a/live?")) {
        found.emplace();
        found->body = text;
      }
      return found;
    });
    fixture.network->add("http://a/live", text);
  };
  addSegments(*fixture.network, "s", 0, 4);
  setParts(1);
  fixture.prepare({}, 0.5);
  EXPECT_EQ(fixture.began, 14);
  EXPECT_EQ(fixture.read(), (Lines{"s3.ts", "p0.ts"}));
  setParts(3);
  EXPECT_EQ(fixture.play(3), (Lines{"p1.ts", "p2.ts"}));
  for (const char* part : {"1", "2", "3"})
    EXPECT_EQ(fixture.network->countOf("http://a/p" + std::string(part) + ".ts"), 1u) << part;
  // Delivery directives name the awaited part.
  EXPECT_TRUE(
      std::any_of(fixture.network->requests().begin(), fixture.network->requests().end(),
                  [](const std::string& url) { return url.find("_HLS_part") != url.npos; }));
}

TEST(LivePresentation, ContinuesWithinTheWindowAfterAStall) {
  PlaybackFixture fixture(kLive);
  setLive(fixture, 10);
  fixture.prepare({}, 0.5);
  fixture.read();
  setLive(fixture, 100);
  fixture.play(8);
  const auto known = fixture.played->timeline(0).seekable;
  ASSERT_FALSE(known.empty());
  EXPECT_EQ(known.front().start, 360);
  fixture.seek(365);
  fixture.network->advance(1);
  EXPECT_EQ(fixture.read(MediaKind::Video, 1), Lines{"s101.ts"});
}

}  // namespace
}  // namespace streaming::test
