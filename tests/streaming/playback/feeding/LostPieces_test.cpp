#include <gtest/gtest.h>

#include "streaming/playback/feeding/TrackFeeder.h"
#include "tests/streaming/playback/feeding/FeederBench.h"

namespace streaming::test {
namespace {

using Lines = std::vector<std::string>;

struct LossCase {
  const char* name;
  std::vector<std::string> missing;
  Lines pieces;
};

// With little loaded, a smaller representation is gone on with.
TEST(TrackFeeder, WhatIsMissingIsSoughtElsewhereAndThenLeftOut) {
  const std::vector<LossCase> cases = {
      {"at the first address", {"a/2"}, {"*a/1", "b/2", "a/3", "end"}},
      {"at both addresses", {"a/2", "b/2"}, {"*a/1", "low/2", "low/3", "end"}},
      {"everywhere", {"a/2", "b/2", "low/2"}, {"*a/1", "gap 4-8", "low/3", "end"}},
      {"the first one", {"a/1", "b/1", "low/1"}, {"*gap 0-4", "low/2", "low/3", "end"}},
      {"the last one", {"a/3", "b/3", "low/3"}, {"*a/1", "a/2", "gap 8-12", "end"}},
  };
  for (const LossCase& each : cases) {
    SCOPED_TRACE(each.name);
    FeederBench bench;
    auto high = listSegments("a", 3);
    for (Segment& segment : high)
      segment.resource.urls.push_back("b/" + std::to_string(segment.number));
    for (const char* name : {"a/", "b/", "low/"}) {
      for (int i = 1; i <= 3; ++i) {
        const std::string url = name + std::to_string(i);
        bench.network.add(url, url);
      }
    }
    bench.media =
        presentationOf({trackOf(MediaKind::Video, "v",
                                {representationOf("low", 1e5, 240, listSegments("low", 3)),
                                 representationOf("high", 1e6, 720, std::move(high))})},
                       12);
    bench.measured.remember(1e8);
    bench.limited.displayHeight = 720;
    for (const std::string& url : each.missing) bench.network.remove(url);
    bench.begin(MediaKind::Video, "v", 0);
    for (int i = 0; i < 10; ++i) bench.advance(1);
    EXPECT_EQ(bench.read(), each.pieces);
  }
}

TEST(TrackFeeder, TenLostInARowAreTooMany) {
  FeederBench bench;
  makeFilm(bench, 30);
  for (int i = 2; i <= 30; ++i) bench.network.remove("v/" + std::to_string(i));
  bench.begin(MediaKind::Video, "v", 0);
  const Lines lines = bench.play(120);
  ASSERT_EQ(lines.size(), 11u);
  EXPECT_EQ(lines.front(), "*v/1");
  EXPECT_EQ(lines.back(), "failed 404");
  EXPECT_EQ(bench.faults.size(), 10u);
  // After a seek it is tried again.
  bench.network.add("v/20", "v/20");
  bench.seek(77);
  bench.advance(1);
  EXPECT_EQ(bench.read(1), Lines{"*v/20"});
}

TEST(TrackFeeder, NothingAtAllIsAFailureAndNotAnEnd) {
  FeederBench bench;
  makeFilm(bench, 3);
  for (int i = 1; i <= 3; ++i) bench.network.remove("v/" + std::to_string(i));
  bench.begin(MediaKind::Video, "v", 0);
  bench.advance(5);
  EXPECT_EQ(bench.read(), (Lines{"*gap 0-4", "gap 4-8", "gap 8-12", "failed 404"}));
}

TEST(TrackFeeder, WhatBreaksOffHalfWayIsPlayedAndTheNextPieceDoesNotContinueIt) {
  FeederBench bench;
  makeFilm(bench, 3);
  ScriptedTransfers::Resource broken;
  broken.body = "v/2 and more";
  broken.error = statusError(-1005);
  broken.errorAfter = 5;
  bench.network.add("v/2", broken);
  bench.begin(MediaKind::Video, "v", 0);
  bench.advance(1);
  EXPECT_EQ(bench.read(), (Lines{"*v/1", "v/2 a!", "*v/3", "end"}));
  EXPECT_EQ(bench.faults, Lines{"v/2 -1005"});
}

TEST(TrackFeeder, EmptySegmentsAreLost) {
  FeederBench bench;
  makeFilm(bench, 2);
  bench.network.add("v/1", std::string());
  bench.begin(MediaKind::Video, "v", 0);
  bench.advance(1);
  EXPECT_EQ(bench.read(), (Lines{"*gap 0-4", "v/2", "end"}));
}

TEST(TrackFeeder, GapsOfThePlaylistAreNotRequested) {
  FeederBench bench;
  makeFilm(bench, 3);
  auto segments = listSegments("v", 3);
  segments[1].isGap = true;
  segments[2].discontinuity = 1;
  bench.media = presentationOf(
      {trackOf(MediaKind::Video, "v", {representationOf("v", 1e6, 720, segments)})}, 12);
  bench.begin(MediaKind::Video, "v", 0);
  bench.advance(1);
  EXPECT_EQ(bench.read(), (Lines{"*v/1", "gap 4-8", "*v/3", "end"}));
  EXPECT_EQ(bench.network.requests(), (Lines{"v/1", "v/3"}));
}

}  // namespace
}  // namespace streaming::test
