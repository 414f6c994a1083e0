#include "streaming/playback/feeding/TrackFeeder.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "tests/streaming/playback/feeding/FeederBench.h"

namespace streaming::test {
namespace {

using Lines = std::vector<std::string>;

TEST(TrackFeeder, GivesThePiecesInOrderAndThenTheEnd) {
  FeederBench bench;
  makeFilm(bench, 3);
  bench.begin(MediaKind::Video, "v", 0);
  bench.advance(1);
  EXPECT_EQ(bench.read(), (Lines{"*v/1", "v/2", "v/3", "end"}));
  EXPECT_EQ(bench.network.requests(), (Lines{"v/1", "v/2", "v/3"}));
}

TEST(TrackFeeder, APieceIsThereAsSoonAsItsFirstBytesHaveCome) {
  FeederBench bench;
  makeFilm(bench, 1);
  ScriptedTransfers::Resource slow;
  slow.body = std::string(1000, 'a');
  slow.rate = 100;
  bench.network.add("v/1", slow);
  bench.begin(MediaKind::Video, "v", 0);
  EXPECT_EQ(bench.read(), Lines());
  bench.advance(0.02);
  const auto piece = bench.shelf().take();
  ASSERT_TRUE(piece);
  EXPECT_EQ(piece->media->state(), SegmentBytes::State::Arriving);
  EXPECT_GT(piece->media->size(), 0u);
  bench.advance(11);
  EXPECT_EQ(piece->media->state(), SegmentBytes::State::Complete);
  EXPECT_EQ(piece->media->size(), 1000u);
}

TEST(TrackFeeder, LoadsHalfAMinuteAheadAndThenNothing) {
  FeederBench bench;
  makeFilm(bench, 100);
  bench.begin(MediaKind::Video, "v", 0);
  bench.read(1);
  bench.advance(10);
  // Up to the segment that begins before 30 s.
  EXPECT_EQ(bench.network.requests().size(), 8u);
  EXPECT_EQ(bench.network.timerCount(), 0u);
  bench.played = 4;
  bench.pump();
  bench.advance(10);
  EXPECT_EQ(bench.network.requests().size(), 9u);
}

TEST(TrackFeeder, KeepsWithinItsBytes) {
  FeederBench bench;
  makeFilm(bench, 100);
  for (int i = 1; i <= 100; ++i)
    bench.network.add("v/" + std::to_string(i), std::string(500'000, 'a'));
  bench.roomFor = 2'000'000;
  bench.begin(MediaKind::Video, "v", 0);
  bench.read(1);
  bench.advance(5);
  EXPECT_LE(bench.shelf().bytes(), 2'000'000u);
  // What has been played makes room for what follows.
  const auto pieces = bench.play(60);
  EXPECT_GE(pieces.size(), 14u);
  EXPECT_LE(bench.shelf().bytes(), 2'000'000u);
}

TEST(TrackFeeder, ASeekWithinWhatIsLoadedRequestsNothing) {
  FeederBench bench;
  makeFilm(bench, 20);
  bench.begin(MediaKind::Video, "v", 0);
  bench.advance(1);
  bench.read(5);
  bench.network.forgetRequests();
  for (const double seconds : {0.0, 9.5, 4.0, 17.0}) {
    bench.seek(seconds);
    const int number = static_cast<int>(seconds / 4) + 1;
    EXPECT_EQ(bench.read(2),
              (Lines{"*v/" + std::to_string(number), "v/" + std::to_string(number + 1)}));
  }
  for (const std::string& url : bench.network.requests())
    EXPECT_TRUE(url == "v/9" || url == "v/10" || url == "v/11" || url == "v/12") << url;
}

TEST(TrackFeeder, ASeekElsewhereJoinsWhatIsThere) {
  FeederBench bench;
  makeFilm(bench, 40);
  bench.begin(MediaKind::Video, "v", 60);
  bench.advance(1);
  EXPECT_EQ(bench.read(1), Lines{"*v/16"});
  bench.network.forgetRequests();
  bench.seek(52);
  bench.advance(1);
  EXPECT_EQ(bench.read(4), (Lines{"*v/14", "v/15", "v/16", "v/17"}));
  EXPECT_EQ(bench.network.requests(), (Lines{"v/14", "v/15"}));
}

TEST(TrackFeeder, ASeekCancelsWhatIsUnderWayForAnotherPlace) {
  FeederBench bench;
  makeFilm(bench, 40);
  ScriptedTransfers::Resource slow;
  slow.body = std::string(1000, 'a');
  slow.rate = 10;
  bench.network.add("v/1", slow);
  bench.begin(MediaKind::Video, "v", 0);
  bench.advance(0.5);
  const auto piece = bench.shelf().take();
  ASSERT_TRUE(piece);
  bench.seek(80);
  bench.advance(0.5);
  EXPECT_EQ(piece->media->state(), SegmentBytes::State::Failed);
  EXPECT_EQ(bench.read(1), Lines{"*v/21"});
  // What has come by half is fetched again.
  bench.network.add("v/1", "v/1");
  bench.seek(0);
  bench.advance(0.5);
  EXPECT_EQ(bench.read(1), Lines{"*v/1"});
}

TEST(TrackFeeder, SeeksBeforeAnythingHasComeAreAnsweredByTheLast) {
  FeederBench bench;
  makeFilm(bench, 40);
  bench.begin(MediaKind::Video, "v", 0);
  bench.seek(100);
  bench.seek(40);
  bench.advance(1);
  EXPECT_EQ(bench.read(2), (Lines{"*v/11", "v/12"}));
  bench.seek(500);
  bench.advance(1);
  EXPECT_EQ(bench.read(1), Lines{"end"});
  bench.seek(41);
  EXPECT_EQ(bench.read(1), Lines{"*v/11"});
}

/// A file without an index, or a playlist of one segment.
TEST(TrackFeeder, ALongSegmentIsReadThroughAWindow) {
  constexpr std::size_t kSize = 50'000'000;
  for (const bool knowsRanges : {true, false}) {
    FeederBench bench;
    bench.media =
        presentationOf({trackOf(MediaKind::Video, "v",
                                {representationOf("v", 1e6, 0, listSegments("v", 2, 400))})},
                       800);
    ScriptedTransfers::Resource resource;
    resource.body = std::string(kSize, 'a');
    resource.body[0] = 'b';
    resource.knowsRanges = knowsRanges;
    resource.rate = 20e6;
    bench.network.add("v/1", std::move(resource));
    bench.network.add("v/2", "next");
    bench.begin(MediaKind::Video, "v", 0);
    bench.advance(20);
    const auto piece = bench.shelf().take();
    ASSERT_TRUE(piece);
    EXPECT_LE(bench.shelf().bytes(), SegmentBytes::Limits{}.ahead + 2'000'000);
    // One thread reads while the network goes on; the second time as after a seek.
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
    while (!isOver) bench.advance(0.1);
    reader.join();
    bench.advance(1);
    EXPECT_LE(bench.shelf().bytes(), SegmentBytes::Limits{}.ahead + 5'000'000);
    EXPECT_EQ(bench.read(), (Lines{"next", "end"}));
    EXPECT_EQ(bench.network.countOf("v/1"), 2u);
  }
}

TEST(TrackFeeder, PiecesWithoutLengthAreBounded) {
  for (const bool isGap : {true, false}) {
    FeederBench bench;
    auto segments = listSegments("v", 2200, 0);
    for (Segment& each : segments) {
      each.isGap = isGap;
      if (!isGap) bench.network.add(each.resource.urls.front(), "a");
    }
    bench.media = presentationOf(
        {trackOf(MediaKind::Video, "v", {representationOf("v", 1e6, 720, segments)})}, 12);
    bench.begin(MediaKind::Video, "v", -1);
    bench.advance(100);
    EXPECT_LE(bench.shelf().countAhead(), 500u);
    std::size_t count = 0;
    for (Lines lines; (lines = bench.read(1)) != Lines{"end"} && count < 5000; ++count) {
      bench.advance(0.1);
      if (lines.empty()) break;
    }
    EXPECT_EQ(count, 2200u);
    EXPECT_LE(bench.shelf().countFrom(-1), 2000u);
  }
}

TEST(TrackFeeder, AnotherTrackIsPlayedFromTheNextSeekOn) {
  FeederBench bench;
  std::vector<Track> tracks;
  for (const char* name : {"en", "de"}) {
    auto segments = listSegments(name, 20);
    for (const Segment& each : segments)
      bench.network.add(each.resource.urls.front(), each.resource.urls.front());
    tracks.push_back(
        trackOf(MediaKind::Audio, name, {representationOf(name, 1e5, 0, std::move(segments))}));
  }
  bench.media = presentationOf(std::move(tracks), 80);
  bench.begin(MediaKind::Audio, "en", 0);
  bench.advance(1);
  EXPECT_EQ(bench.read(2, MediaKind::Audio), (Lines{"*en/1", "en/2"}));
  bench.feeder(MediaKind::Audio).setTrack("de");
  EXPECT_EQ(bench.read(1, MediaKind::Audio), Lines{"en/3"});
  bench.seek(9, MediaKind::Audio);
  bench.advance(1);
  EXPECT_EQ(bench.read(2, MediaKind::Audio), (Lines{"*de/3", "de/4"}));
  // Nothing is fetched of what is not selected.
  bench.feeder(MediaKind::Audio).setTrack("");
  bench.network.forgetRequests();
  bench.seek(70, MediaKind::Audio);
  bench.advance(5);
  EXPECT_EQ(bench.network.requests(), Lines());
}

TEST(TrackFeeder, PeriodsFollowEachOther) {
  FeederBench bench;
  bench.media = std::make_shared<Presentation>();
  bench.media->duration = 16;
  const std::vector<std::string> names = {"a", "b"};
  for (std::size_t i = 0; i < names.size(); ++i) {
    Period& period = bench.media->periods.emplace_back();
    period.id = names[i];
    period.start = static_cast<double>(i) * 8;
    period.duration = 8;
    // The last segment of the first period lies behind its end.
    auto segments = listSegments(names[i], 3, 4, period.start);
    for (const Segment& each : segments)
      bench.network.add(each.resource.urls.front(), each.resource.urls.front());
    period.tracks = {trackOf(MediaKind::Video, "main",
                             {representationOf(names[i], 1e6, 720, std::move(segments))})};
  }
  bench.begin(MediaKind::Video, "main", 0);
  bench.advance(1);
  EXPECT_EQ(bench.read(), (Lines{"*a/1", "a/2", "*b/1", "b/2", "end"}));
  bench.seek(9);
  EXPECT_EQ(bench.read(), (Lines{"*b/1", "b/2", "end"}));
  EXPECT_EQ(bench.network.requests().size(), 4u);
}

TEST(TrackFeeder, LiveSegmentsAreAwaited) {
  FeederBench bench;
  auto segments = listSegments("v", 6);
  for (Segment& each : segments) {
    bench.network.add(each.resource.urls.front(), each.resource.urls.front());
    each.availableFrom = platform::Date{ScriptedTransfers::kEpoch + each.end() - 8};
  }
  bench.media = presentationOf(
      {trackOf(MediaKind::Video, "v", {representationOf("v", 1e6, 720, segments)})}, 24);
  bench.begin(MediaKind::Video, "v", 0);
  bench.advance(1);
  EXPECT_EQ(bench.read(), (Lines{"*v/1", "v/2"}));
  bench.advance(2.5);
  EXPECT_EQ(bench.network.requests().size(), 2u);
  bench.advance(1);
  EXPECT_EQ(bench.read(), Lines{"v/3"});
}

TEST(TrackFeeder, TheNewestSegmentOfALivePlaylistMayComeLate) {
  FeederBench bench;
  makeFilm(bench, 2);
  bench.media =
      presentationOf({trackOf(MediaKind::Video, "v",
                              {representationOf("v", 1e6, 720, listSegments("v", 2), false)})},
                     8);
  bench.network.remove("v/2");
  bench.begin(MediaKind::Video, "v", 0);
  bench.advance(1);
  bench.network.add("v/2", "v/2");
  // Moving about does not make it ask sooner.
  for (int i = 0; i < 10; ++i) bench.pump();
  EXPECT_EQ(bench.network.countOf("v/2"), 1u);
  bench.advance(2);
  EXPECT_EQ(bench.read(), (Lines{"*v/1", "v/2"}));
  EXPECT_EQ(bench.faults, Lines());
}

}  // namespace
}  // namespace streaming::test
