#include "streaming/playback/feeding/TrackFeeder.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "tests/streaming/playback/feeding/FeederFixture.h"

namespace streaming::test {
namespace {

using Lines = std::vector<std::string>;

TEST(TrackFeeder, DeliversPiecesInOrderAndThenTheEnd) {
  FeederFixture fixture;
  addVideoTrack(fixture, 3);
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(), (Lines{"*v/1", "v/2", "v/3", "end"}));
  EXPECT_EQ(fixture.network.requests(), (Lines{"v/1", "v/2", "v/3"}));
}

TEST(TrackFeeder, DeliversAPieceWithItsFirstBytes) {
  FeederFixture fixture;
  addVideoTrack(fixture, 1);
  ScriptedTransfers::Resource slow;
  slow.body = std::string(1000, 'a');
  slow.rate = 100;
  fixture.network.add("v/1", slow);
  fixture.begin(MediaKind::Video, "v", 0);
  EXPECT_EQ(fixture.read(), Lines());
  fixture.advance(0.02);
  const auto piece = fixture.buffer().take();
  ASSERT_TRUE(piece);
  EXPECT_EQ(piece->media->state(), SegmentBytes::State::Arriving);
  EXPECT_GT(piece->media->size(), 0u);
  fixture.advance(11);
  EXPECT_EQ(piece->media->state(), SegmentBytes::State::Complete);
  EXPECT_EQ(piece->media->size(), 1000u);
}

TEST(TrackFeeder, BuffersThirtySeconds) {
  FeederFixture fixture;
  addVideoTrack(fixture, 100);
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.read(1);
  fixture.advance(10);
  // The last segment starts before 30 s.
  EXPECT_EQ(fixture.network.requests().size(), 8u);
  EXPECT_EQ(fixture.network.timerCount(), 0u);
  fixture.played = 4;
  fixture.pump();
  fixture.advance(10);
  EXPECT_EQ(fixture.network.requests().size(), 9u);
}

TEST(TrackFeeder, RespectsTheMemoryLimit) {
  FeederFixture fixture;
  addVideoTrack(fixture, 100);
  for (int i = 1; i <= 100; ++i)
    fixture.network.add("v/" + std::to_string(i), std::string(500'000, 'a'));
  fixture.roomFor = 2'000'000;
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.read(1);
  fixture.advance(5);
  EXPECT_LE(fixture.buffer().bytes(), 2'000'000u);
  // Played segments are evicted.
  const auto pieces = fixture.play(60);
  EXPECT_GE(pieces.size(), 14u);
  EXPECT_LE(fixture.buffer().bytes(), 2'000'000u);
}

TEST(TrackFeeder, ASeekWithinTheBufferSendsNoRequest) {
  FeederFixture fixture;
  addVideoTrack(fixture, 20);
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(1);
  fixture.read(5);
  fixture.network.forgetRequests();
  for (const double seconds : {0.0, 9.5, 4.0, 17.0}) {
    fixture.seek(seconds);
    const int number = static_cast<int>(seconds / 4) + 1;
    EXPECT_EQ(fixture.read(2),
              (Lines{"*v/" + std::to_string(number), "v/" + std::to_string(number + 1)}));
  }
  for (const std::string& url : fixture.network.requests())
    EXPECT_TRUE(url == "v/9" || url == "v/10" || url == "v/11" || url == "v/12") << url;
}

TEST(TrackFeeder, ASeekOutsideTheBufferReusesBufferedPieces) {
  FeederFixture fixture;
  addVideoTrack(fixture, 40);
  fixture.begin(MediaKind::Video, "v", 60);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(1), Lines{"*v/16"});
  fixture.network.forgetRequests();
  fixture.seek(52);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(4), (Lines{"*v/14", "v/15", "v/16", "v/17"}));
  EXPECT_EQ(fixture.network.requests(), (Lines{"v/14", "v/15"}));
}

TEST(TrackFeeder, ASeekCancelsARequestForAnotherPosition) {
  FeederFixture fixture;
  addVideoTrack(fixture, 40);
  ScriptedTransfers::Resource slow;
  slow.body = std::string(1000, 'a');
  slow.rate = 10;
  fixture.network.add("v/1", slow);
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(0.5);
  const auto piece = fixture.buffer().take();
  ASSERT_TRUE(piece);
  fixture.seek(80);
  fixture.advance(0.5);
  EXPECT_EQ(piece->media->state(), SegmentBytes::State::Failed);
  EXPECT_EQ(fixture.read(1), Lines{"*v/21"});
  // The incomplete segment is requested again.
  fixture.network.add("v/1", "v/1");
  fixture.seek(0);
  fixture.advance(0.5);
  EXPECT_EQ(fixture.read(1), Lines{"*v/1"});
}

TEST(TrackFeeder, OnlyTheLastOfSeveralSeeksIsAnswered) {
  FeederFixture fixture;
  addVideoTrack(fixture, 40);
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.seek(100);
  fixture.seek(40);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(2), (Lines{"*v/11", "v/12"}));
  fixture.seek(500);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(1), Lines{"end"});
  fixture.seek(41);
  EXPECT_EQ(fixture.read(1), Lines{"*v/11"});
}

TEST(TrackFeeder, ReadsALongSegmentThroughAWindow) {
  constexpr std::size_t kSize = 50'000'000;
  for (const bool knowsRanges : {true, false}) {
    FeederFixture fixture;
    fixture.media =
        presentationOf({trackOf(MediaKind::Video, "v",
                                {representationOf("v", 1e6, 0, listSegments("v", 2, 400))})},
                       800);
    ScriptedTransfers::Resource resource;
    resource.body = std::string(kSize, 'a');
    resource.body[0] = 'b';
    resource.knowsRanges = knowsRanges;
    resource.rate = 20e6;
    fixture.network.add("v/1", std::move(resource));
    fixture.network.add("v/2", "next");
    fixture.begin(MediaKind::Video, "v", 0);
    fixture.advance(20);
    const auto piece = fixture.buffer().take();
    ASSERT_TRUE(piece);
    EXPECT_LE(fixture.buffer().bytes(), SegmentBytes::Limits{}.ahead + 2'000'000);
    // The reader runs on its own thread. The second pass simulates a seek.
    std::atomic<bool> isOver = false;
    std::thread reader([&] {
      const ReadGate gate;
      std::vector<std::byte> buffer(1'000'000);
      for (int round = 0; round < 2; ++round) {
        std::uint64_t at = piece->media->read(0, buffer, gate);
        EXPECT_EQ(buffer[0], std::byte{'b'});
        while (const std::size_t count = piece->media->read(at, buffer, gate)) at += count;
        EXPECT_EQ(at, kSize);
      }
      isOver = true;
    });
    while (!isOver) fixture.advance(0.1);
    reader.join();
    fixture.advance(1);
    EXPECT_LE(fixture.buffer().bytes(), SegmentBytes::Limits{}.ahead + 5'000'000);
    EXPECT_EQ(fixture.read(), (Lines{"next", "end"}));
    EXPECT_EQ(fixture.network.countOf("v/1"), 2u);
  }
}

TEST(TrackFeeder, LimitsTheNumberOfPiecesWithoutDuration) {
  for (const bool isGap : {true, false}) {
    FeederFixture fixture;
    auto segments = listSegments("v", 2200, 0);
    for (Segment& each : segments) {
      each.isGap = isGap;
      if (!isGap) fixture.network.add(each.resource.urls.front(), "a");
    }
    fixture.media = presentationOf(
        {trackOf(MediaKind::Video, "v", {representationOf("v", 1e6, 720, segments)})}, 12);
    fixture.begin(MediaKind::Video, "v", -1);
    fixture.advance(100);
    EXPECT_LE(fixture.buffer().countAhead(), 500u);
    std::size_t count = 0;
    for (Lines lines; (lines = fixture.read(1)) != Lines{"end"} && count < 5000; ++count) {
      fixture.advance(0.1);
      if (lines.empty()) break;
    }
    EXPECT_EQ(count, 2200u);
    EXPECT_LE(fixture.buffer().countFrom(-1), 2000u);
  }
}

TEST(TrackFeeder, SwitchesTheTrackAtTheNextSeek) {
  FeederFixture fixture;
  std::vector<Track> tracks;
  for (const char* name : {"en", "de"}) {
    auto segments = listSegments(name, 20);
    for (const Segment& each : segments)
      fixture.network.add(each.resource.urls.front(), each.resource.urls.front());
    tracks.push_back(
        trackOf(MediaKind::Audio, name, {representationOf(name, 1e5, 0, std::move(segments))}));
  }
  fixture.media = presentationOf(std::move(tracks), 80);
  fixture.begin(MediaKind::Audio, "en", 0);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(2, MediaKind::Audio), (Lines{"*en/1", "en/2"}));
  fixture.feeder(MediaKind::Audio).setTrack("de");
  EXPECT_EQ(fixture.read(1, MediaKind::Audio), Lines{"en/3"});
  fixture.seek(9, MediaKind::Audio);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(2, MediaKind::Audio), (Lines{"*de/3", "de/4"}));
  // No requests for the unselected track.
  fixture.feeder(MediaKind::Audio).setTrack("");
  fixture.network.forgetRequests();
  fixture.seek(70, MediaKind::Audio);
  fixture.advance(5);
  EXPECT_EQ(fixture.network.requests(), Lines());
}

TEST(TrackFeeder, ContinuesWithTheNextPeriod) {
  FeederFixture fixture;
  fixture.media = std::make_shared<Presentation>();
  fixture.media->duration = 16;
  const std::vector<std::string> names = {"a", "b"};
  for (std::size_t i = 0; i < names.size(); ++i) {
    Period& period = fixture.media->periods.emplace_back();
    period.id = names[i];
    period.start = static_cast<double>(i) * 8;
    period.duration = 8;
    // The last segment of the first period starts after its end.
    auto segments = listSegments(names[i], 3, 4, period.start);
    for (const Segment& each : segments)
      fixture.network.add(each.resource.urls.front(), each.resource.urls.front());
    period.tracks = {trackOf(MediaKind::Video, "main",
                             {representationOf(names[i], 1e6, 720, std::move(segments))})};
  }
  fixture.begin(MediaKind::Video, "main", 0);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(), (Lines{"*a/1", "a/2", "*b/1", "b/2", "end"}));
  fixture.seek(9);
  EXPECT_EQ(fixture.read(), (Lines{"*b/1", "b/2", "end"}));
  EXPECT_EQ(fixture.network.requests().size(), 4u);
}

TEST(TrackFeeder, WaitsForLiveSegments) {
  FeederFixture fixture;
  auto segments = listSegments("v", 6);
  for (Segment& each : segments) {
    fixture.network.add(each.resource.urls.front(), each.resource.urls.front());
    each.availableFrom = platform::Date{ScriptedTransfers::kEpoch + each.end() - 8};
  }
  fixture.media = presentationOf(
      {trackOf(MediaKind::Video, "v", {representationOf("v", 1e6, 720, segments)})}, 24);
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(), (Lines{"*v/1", "v/2"}));
  fixture.advance(2.5);
  EXPECT_EQ(fixture.network.requests().size(), 2u);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(), Lines{"v/3"});
}

TEST(TrackFeeder, RetriesTheLatestLiveSegment) {
  FeederFixture fixture;
  addVideoTrack(fixture, 2);
  fixture.media =
      presentationOf({trackOf(MediaKind::Video, "v",
                              {representationOf("v", 1e6, 720, listSegments("v", 2), false)})},
                     8);
  fixture.network.remove("v/2");
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(1);
  fixture.network.add("v/2", "v/2");
  // Seeks do not cause earlier retries.
  for (int i = 0; i < 10; ++i) fixture.pump();
  EXPECT_EQ(fixture.network.countOf("v/2"), 1u);
  fixture.advance(2);
  EXPECT_EQ(fixture.read(), (Lines{"*v/1", "v/2"}));
  EXPECT_EQ(fixture.errors, Lines());
}

}  // namespace
}  // namespace streaming::test
