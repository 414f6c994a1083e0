#include <gtest/gtest.h>

#include "streaming/playback/feeding/TrackFeeder.h"
#include "tests/streaming/playback/feeding/FeederFixture.h"

namespace streaming::test {
namespace {

using Lines = std::vector<std::string>;

struct LossCase {
  const char* name;
  std::vector<std::string> missing;
  Lines pieces;
};

// With little buffered, the feeder continues with the smaller representation.
TEST(TrackFeeder, TriesAlternativesForAMissingSegmentAndThenSkipsIt) {
  const std::vector<LossCase> cases = {
      {"at the first URL", {"a/2"}, {"*a/1", "b/2", "a/3", "end"}},
      {"at both URLs", {"a/2", "b/2"}, {"*a/1", "low/2", "low/3", "end"}},
      {"in all representations", {"a/2", "b/2", "low/2"}, {"*a/1", "gap 4-8", "low/3", "end"}},
      {"the first segment", {"a/1", "b/1", "low/1"}, {"*gap 0-4", "low/2", "low/3", "end"}},
      {"the last segment", {"a/3", "b/3", "low/3"}, {"*a/1", "a/2", "gap 8-12", "end"}},
  };
  for (const LossCase& each : cases) {
    SCOPED_TRACE(each.name);
    FeederFixture fixture;
    auto high = listSegments("a", 3);
    for (Segment& segment : high)
      segment.resource.urls.push_back("b/" + std::to_string(segment.number));
    for (const char* name : {"a/", "b/", "low/"}) {
      for (int i = 1; i <= 3; ++i) {
        const std::string url = name + std::to_string(i);
        fixture.network.add(url, url);
      }
    }
    fixture.media =
        presentationOf({trackOf(MediaKind::Video, "v",
                                {representationOf("low", 1e5, 240, listSegments("low", 3)),
                                 representationOf("high", 1e6, 720, std::move(high))})},
                       12);
    fixture.measured.setInitialEstimate(1e8);
    fixture.limited.displayHeight = 720;
    for (const std::string& url : each.missing) fixture.network.remove(url);
    fixture.begin(MediaKind::Video, "v", 0);
    for (int i = 0; i < 10; ++i) fixture.advance(1);
    EXPECT_EQ(fixture.read(), each.pieces);
  }
}

TEST(TrackFeeder, FailsAfterTenConsecutiveLostSegments) {
  FeederFixture fixture;
  addVideoTrack(fixture, 30);
  for (int i = 2; i <= 30; ++i) fixture.network.remove("v/" + std::to_string(i));
  fixture.begin(MediaKind::Video, "v", 0);
  const Lines lines = fixture.play(120);
  ASSERT_EQ(lines.size(), 11u);
  EXPECT_EQ(lines.front(), "*v/1");
  EXPECT_EQ(lines.back(), "failed 404");
  EXPECT_EQ(fixture.errors.size(), 10u);
  // A seek allows retries.
  fixture.network.add("v/20", "v/20");
  fixture.seek(77);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(1), Lines{"*v/20"});
}

TEST(TrackFeeder, FailsWhenAllSegmentsAreMissing) {
  FeederFixture fixture;
  addVideoTrack(fixture, 3);
  for (int i = 1; i <= 3; ++i) fixture.network.remove("v/" + std::to_string(i));
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(5);
  EXPECT_EQ(fixture.read(), (Lines{"*gap 0-4", "gap 4-8", "gap 8-12", "failed 404"}));
}

/// A reader may seek at any time, also to the position where it is.
TEST(TrackFeeder, FailsWhenAllSegmentsAreMissingWhateverTheReaderSeeks) {
  struct SeekCase {
    const char* name;
    unsigned readBefore;
    std::vector<double> seeks;
    Lines pieces;
  };
  const std::vector<SeekCase> cases = {
      {"to the start", 0, {0}, {"*gap 0-4", "gap 4-8", "gap 8-12", "failed 404"}},
      {"to the start after one piece", 1, {0}, {"*gap 0-4", "gap 4-8", "gap 8-12", "failed 404"}},
      {"to the start after the failure", 4, {0}, {"*gap 0-4", "gap 4-8", "gap 8-12", "failed 404"}},
      {"twice", 2, {9, 5}, {"*gap 4-8", "gap 8-12", "failed 404"}},
  };
  // The seek arrives before the first request ends, between two losses, or after the last one.
  for (const double lossesFor : {0.0, 0.5, 1.5, 2.5, 9.0}) {
    for (const SeekCase& each : cases) {
      SCOPED_TRACE(std::string(each.name) + " after " + std::to_string(lossesFor));
      FeederFixture fixture;
      addVideoTrack(fixture, 3);
      for (int i = 1; i <= 3; ++i) {
        ScriptedTransfers::Resource missing;
        missing.error = statusError(404);
        missing.delay = 1;
        fixture.network.add("v/" + std::to_string(i), missing);
      }
      fixture.begin(MediaKind::Video, "v", 0);
      fixture.advance(lossesFor);
      fixture.read(each.readBefore);
      for (const double seconds : each.seeks) fixture.seek(seconds);
      fixture.advance(20);
      EXPECT_EQ(fixture.read(), each.pieces);
    }
  }
}

TEST(TrackFeeder, SkipsAMissingSegmentWhoseRequestWasRunningAtASeek) {
  FeederFixture fixture;
  addVideoTrack(fixture, 2);
  ScriptedTransfers::Resource missing;
  missing.error = statusError(404);
  missing.delay = 1;
  fixture.network.add("v/1", missing);
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(0.5);
  fixture.seek(1);
  fixture.advance(5);
  EXPECT_EQ(fixture.read(), (Lines{"*gap 0-4", "v/2", "end"}));
  EXPECT_EQ(fixture.network.countOf("v/1"), 1u);
}

TEST(TrackFeeder, ASeekToLostSegmentsReachesTheEndIfOthersHavePlayed) {
  FeederFixture fixture;
  addVideoTrack(fixture, 3);
  for (int i = 2; i <= 3; ++i) fixture.network.remove("v/" + std::to_string(i));
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(5);
  EXPECT_EQ(fixture.read(), (Lines{"*v/1", "gap 4-8", "gap 8-12", "end"}));
  fixture.seek(9);
  fixture.advance(5);
  EXPECT_EQ(fixture.read(), (Lines{"*gap 8-12", "end"}));
}

TEST(TrackFeeder, DeliversATruncatedSegmentAndThenADiscontinuity) {
  FeederFixture fixture;
  addVideoTrack(fixture, 3);
  ScriptedTransfers::Resource broken;
  broken.body = "v/2 and more";
  broken.error = statusError(-1005);
  broken.errorAfter = 5;
  fixture.network.add("v/2", broken);
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(), (Lines{"*v/1", "v/2 a!", "*v/3", "end"}));
  EXPECT_EQ(fixture.errors, Lines{"v/2 -1005"});
}

TEST(TrackFeeder, SkipsEmptySegments) {
  FeederFixture fixture;
  addVideoTrack(fixture, 2);
  fixture.network.add("v/1", std::string());
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(), (Lines{"*gap 0-4", "v/2", "end"}));
}

TEST(TrackFeeder, DoesNotRequestGaps) {
  FeederFixture fixture;
  addVideoTrack(fixture, 3);
  auto segments = listSegments("v", 3);
  segments[1].isGap = true;
  segments[2].discontinuity = 1;
  fixture.media = presentationOf(
      {trackOf(MediaKind::Video, "v", {representationOf("v", 1e6, 720, segments)})}, 12);
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(), (Lines{"*v/1", "gap 4-8", "*v/3", "end"}));
  EXPECT_EQ(fixture.network.requests(), (Lines{"v/1", "v/3"}));
}

}  // namespace
}  // namespace streaming::test
