#include "box/relay/MediaTimeline.h"

#include <gtest/gtest.h>

#include "box/relay/PlaylistRewriter.h"
#include "box/relay/TimeText.h"

namespace box {
namespace {

using Timeline = std::shared_ptr<const MediaTimeline>;

Timeline timelineOf(PlaylistKind kind, const std::string& text, const Timeline& previous = {},
                    const Timeline& other = {}) {
  const auto rewriter = PlaylistRewriter::make(
      kind, {"http://h/m", false, [](const std::string& url, RelayPath::Kind) { return url; }});
  EXPECT_TRUE(rewriter->feed(text) && rewriter->finish());
  return rewriter->timeline(previous.get(), other.get());
}

Timeline timelineOf(const std::string& text, const Timeline& previous = {},
                    const Timeline& other = {}) {
  return timelineOf(PlaylistKind::HLS, "#EXTM3U\n#EXT-X-TARGETDURATION:4\n" + text, previous,
                    other);
}

/// `count` segments from number `first` on.
std::string window(int first, int count, const std::string& firstTags = "",
                   const std::string& name = "s") {
  std::string text = "#EXT-X-MEDIA-SEQUENCE:" + std::to_string(first) + "\n" + firstTags;
  for (int i = first; i < first + count; ++i)
    text += "#EXTINF:4.0,\n" + name + std::to_string(i) + ".ts\n";
  return text;
}

TEST(MediaTimeline, ReadsDatesAndDurations) {
  struct Case {
    const char* text;
    std::optional<double> seconds;
  };
  for (const Case& c : {
           Case{"1970-01-02T00:00:01Z", 86401},
           Case{"2026-11-25T01:30:00.250+01:00", 1795566600.25},
           Case{"2026-11-24T19:00:00-0530", 1795566600},
           Case{"2026-11-25T00:30:00", 1795566600},
           Case{"2026-02-30T00:00:00Z", {}},
           Case{"2026-11-25T00:61:00Z", {}},
           Case{"2026-11-25T00:30:00Q", {}},
           Case{"2026-11-25", {}},
           Case{"-026-11-25T00:30:00Z", {}},
       }) {
    const auto date = dateFrom(c.text);
    ASSERT_EQ(date.has_value(), c.seconds.has_value()) << c.text;
    EXPECT_DOUBLE_EQ(date.value_or(platform::Date{}).secondsSince1970, c.seconds.value_or(0))
        << c.text;
  }
  for (const Case& c : {Case{"PT1H2M3.5S", 3723.5}, Case{"P1DT2S", 86402}, Case{"-PT1M", -60},
                        Case{"PT1X", {}}, Case{"1H", {}}, Case{"PTS", {}}})
    EXPECT_EQ(durationFrom(c.text), c.seconds) << c.text;
}

TEST(MediaTimeline, ReadsTheSegmentsOfAPlaylist) {
  const auto timeline = timelineOf(
      "#EXTINF:2.5,title\n#EXT-X-BYTERANGE:100@50\nall.ts\n"
      "#EXTINF:3\n#EXT-X-BYTERANGE:10\nall.ts\n"
      "#EXTINF:nan\n#EXT-X-BYTERANGE:7\nother.ts\n#EXTINF:1,\n\nlast.ts?x\n");
  ASSERT_TRUE(timeline);
  ASSERT_EQ(timeline->segments.size(), 4u);
  const auto& segments = timeline->segments;
  EXPECT_EQ(segments[0].byteOffset, 50u);
  EXPECT_EQ(segments[1].byteOffset, 150u);
  EXPECT_EQ(segments[1].byteLength, 10u);
  EXPECT_EQ(segments[2].byteOffset, 0u);
  EXPECT_EQ(segments[2].start, 5.5);
  EXPECT_EQ(segments[3].start, 5.5);
  EXPECT_FALSE(segments[3].byteLength);
  EXPECT_EQ(segments[3].url, "http://h/last.ts?x");
  EXPECT_EQ(timeline->targetDuration, 4);

  EXPECT_TRUE(timeline->live);
  EXPECT_FALSE(timelineOf("#EXT-X-PLAYLIST-TYPE:VOD\n" + window(0, 1))->live);
  EXPECT_FALSE(timelineOf(window(0, 1) + "#EXT-X-ENDLIST\n")->live);
  EXPECT_FALSE(timelineOf(PlaylistKind::HLS, "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nv.m3u8\n"));
}

TEST(MediaTimeline, GoesOnFromTheLastPlaylist) {
  const std::string dated = "#EXT-X-PROGRAM-DATE-TIME:1970-01-01T00:16:40Z\n";
  const auto first = timelineOf(window(7, 5));
  const auto firstDated = timelineOf(window(7, 5, dated));
  const std::string later = "#EXT-X-PROGRAM-DATE-TIME:1970-01-01T00:16:48Z\n";
  struct Case {
    const char* what;
    Timeline previous;
    std::string text;
    double start;
  };
  for (const Case& c : {
           Case{"unchanged", first, window(7, 5), 0},
           Case{"two further", first, window(9, 5), 8},
           Case{"missed three", first, window(15, 5), 32},
           Case{"begun anew", first, window(0, 5), 0},
           Case{"missed all, by its date", firstDated, window(70, 5, later), 8},
           Case{"skipped two", first, window(7, 5, "#EXT-X-SKIP:SKIPPED-SEGMENTS=2\n"), 8},
       }) {
    const auto timeline = timelineOf(c.text, c.previous);
    EXPECT_EQ(timeline->segments.front().start, c.start) << c.what;
  }
  for (const Case& c : {
           Case{"by its date", firstDated, window(8, 5, later), 8},
           Case{"by its numbers", firstDated, window(8, 5), 4},
           Case{"by its end", firstDated, window(70, 4), 4},
       })
    EXPECT_EQ(timelineOf(c.text, {}, c.previous)->segments.front().start, c.start)
        << "another playlist, " << c.what;
  // The mark has slid out of the window, and tells its date still; once only.
  auto undated = timelineOf(window(9, 5), firstDated);
  undated = timelineOf(window(10, 5), undated);
  ASSERT_EQ(undated->dates.size(), 1u);
  EXPECT_EQ(undated->dateAt(12)->secondsSince1970, 1012);
}

TEST(MediaTimeline, KeepsNoMoreThanItMust) {
  const auto timeline = timelineOf(window(0, 25'000));
  EXPECT_LE(timeline->segments.size(), 10'000u);
  EXPECT_EQ(timeline->segments.back().start, 4 * 24'999);
  EXPECT_EQ(timeline->mediaSequence + timeline->segments.size(), 25'000u);
}

TEST(MediaTimeline, ConvertsBetweenPositionsAndDates) {
  MediaTimeline timeline;
  for (int i = 0; i < 10; ++i)
    timeline.segments.push_back(
        {.start = 100.0 + 10 * i, .duration = 10, .url = "", .byteLength = {}});
  timeline.dates = {{110, {1000}, false}, {150, {5000}, true}, {170, {5000}, true}};
  struct Case {
    double position;
    double date;
    double back;  ///< where the date leads to
  };
  for (const Case& c : {Case{110, 1000, 110}, Case{105, 995, 105}, Case{149, 1039, 149},
                        Case{150, 5000, 150}, Case{180, 5010, 160}, Case{195, 5025, 195}}) {
    EXPECT_EQ(timeline.dateAt(c.position)->secondsSince1970, c.date) << c.position;
    EXPECT_EQ(timeline.positionOf({c.date}), c.back) << c.date;
  }
  EXPECT_EQ(timeline.positionOf({3000}), 150) << "between two marks that do not meet";
  EXPECT_EQ(timeline.positionOf({1}), 100) << "before the window";
  EXPECT_EQ(timeline.positionOf({9000}), 200) << "after it";

  timeline.dates.erase(timeline.dates.begin());
  EXPECT_FALSE(timeline.dateAt(149)) << "nothing leads over a discontinuity";
  timeline.dates.clear();
  EXPECT_FALSE(timeline.dateAt(149) || timeline.positionOf({1000}));
}

TEST(MediaTimeline, TellsTheStartOfALiveManifest) {
  const std::string rest =
      " availabilityStartTime='1970-01-01T00:16:40Z' maxSegmentDuration='PT2S'>"
      "<Period start='PT5S'/></MPD>";
  const auto live = timelineOf(PlaylistKind::DASH, "<MPD type='dynamic'" + rest);
  EXPECT_TRUE(live->live);
  EXPECT_EQ(live->targetDuration, 2);
  EXPECT_EQ(live->dateAt(7)->secondsSince1970, 1007);
  const auto still = timelineOf(PlaylistKind::DASH, "<MPD type='static'" + rest);
  EXPECT_FALSE(still->live || still->dateAt(7));
}

}  // namespace
}  // namespace box
