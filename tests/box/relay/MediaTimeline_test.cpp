#include "box/relay/MediaTimeline.h"

#include <gtest/gtest.h>

#include "box/relay/ItemRecord.h"
#include "box/relay/PlaylistRewriter.h"
#include "box/relay/TimeText.h"

namespace box {
namespace {

using Timeline = std::shared_ptr<const MediaTimeline>;

Timeline timelineOf(PlaylistKind kind, const std::string& text, const Timeline& previous = {},
                    const Timeline& other = {}) {
  const auto rewriter = PlaylistRewriter::make(
      kind, {.url = "http://h/m",
             .relayed = [](const std::string& url, RelayPath::Kind) { return url; }});
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

TEST(MediaTimeline, TellsDateRangesAtTheirPositions) {
  const std::string date = "#EXT-X-PROGRAM-DATE-TIME:1970-01-01T00:00:10Z\n";
  const std::string ranges =
      "#EXT-X-DATERANGE:ID=\"1\",CLASS=\"ad\",START-DATE=\"1970-01-01T00:00:15Z\",DURATION=2,"
      "X-A=\"b,c\"\n#EXT-X-DATERANGE:ID=\"2\",START-DATE=\"1970-01-01T00:00:05Z\"\n"
      "#EXT-X-DATERANGE:ID=\"3\"\n";
  const auto first = timelineOf(window(1, 3, date + ranges));
  // The next one is laid behind it, and its range lies before the window.
  for (const Timeline& timeline : {first, timelineOf(window(3, 3, ranges), first)}) {
    ASSERT_EQ(timeline->events.size(), 1u);
    EXPECT_EQ(timeline->events[0].position, 5);
    const auto& item = timeline->events[0].item;
    EXPECT_EQ(item.key, platform::Value("ad"));
    EXPECT_EQ(item.value.asDictionary()->string("X-A"), "b,c");
    EXPECT_EQ(item.extraAttributes.get("duration"), platform::Value(2.0));
  }
  EXPECT_TRUE(timelineOf(window(1, 3, ranges))->events.empty()) << "no dates to go by";
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

TEST(ItemRecord, KeepsApartWhatCameFromElsewhere) {
  ItemRecord record;
  auto offers = std::make_shared<StreamOffers>();
  offers->variants = {{"low", 10}, {"high", 30}};
  record.setOffers(offers);
  for (const char* name : {"low", "high"})
    record.setTimeline(name, timelineOf(window(0, 9, "", name)));
  record.noteAlternate("sound", true);
  record.setTimeline("sound", timelineOf(window(0, 9, "", "sound")));
  const struct {
    const char* server;
    const char* url;
    bool begins;
  } cases[] = {{"a", "low0", false},  {"a", "low1", false}, {"c", "sound1", false},
               {"a", "high2", true},  {"b", "high3", true}, {"b", "nobody's", false},
               {"b", "high4", false}, {"b", "low5", true}};
  for (const auto& each : cases) {
    record.setServerAddress(each.server);
    record.addRequest();
    record.addBytes(100);
    EXPECT_EQ(record.noteSource(std::string("http://h/") + each.url + ".ts", false), each.begins)
        << each.url;
  }
  std::string legs;
  for (const RelayLeg& leg : record.legs())
    legs += leg.variant + "=" + std::to_string(static_cast<int>(leg.indicatedBitrate.value())) +
            (leg.isSwitch ? " switch " : " ") + leg.statistics.serverAddress + " " +
            std::to_string(leg.statistics.requestCount) + " " +
            std::to_string(static_cast<int>(leg.mediaSeconds)) + "\n";
  EXPECT_EQ(legs, "low=10 a 3 8\nhigh=30 switch a 1 4\nhigh=30 b 3 8\nlow=10 switch b 1 4\n");
  EXPECT_TRUE(record.statistics().observedBitrate) << "however short it was";
}

TEST(MediaTimeline, TellsTheSegmentsAndEventsOfAManifest) {
  const struct {
    const char* set;
    const char* url;
    double start;
    double duration;  // 0: it is none
  } cases[] = {
      {"<SegmentTemplate media='$RepresentationID$/$Number%05d$.m4s?b=$Bandwidth$' duration='4000' "
       "timescale='2000' startNumber='5' presentationTimeOffset='1000'/>",
       "v/00007.m4s?b=9", 14, 2},
      {"<SegmentTemplate media='$$$Time$' timescale='10' presentationTimeOffset='100'>"
       "<SegmentTimeline><S t='100' d='20' r='-1'/><S t='160' d='30'/></SegmentTimeline>"
       "</SegmentTemplate>",
       "$160", 16, 3},
      {"<SegmentTemplate media='$Number$' timescale='10'><SegmentTimeline><S d='20' r='2'/>"
       "<S d='30' r='-1'/></SegmentTimeline></SegmentTemplate>",
       "5", 19, 3},
      {"<SegmentTemplate media='$Number$'/>", "1", 0, 0},
      {"<SegmentList duration='3'><SegmentURL media='a'/><SegmentURL media='b'/></SegmentList>",
       "b", 13, 3},
      {"<BaseURL>whole.mp4</BaseURL><SegmentBase/>", "whole.mp4", 10, 20},
  };
  for (const auto& each : cases) {
    const auto timeline = timelineOf(
        PlaylistKind::DASH,
        "<MPD mediaPresentationDuration='PT30S'><Period duration='PT10S'/><Period>"
        "<EventStream schemeIdUri='urn:s' value='1' timescale='10'><Event presentationTime='25' "
        "duration='5' id='7' contentEncoding='base64'><x> Y\nWI= </x></Event></EventStream>"
        "<AdaptationSet mimeType='audio/mp4'><SegmentTemplate media='x' duration='1'/>"
        "<Representation id='a'/></AdaptationSet><AdaptationSet contentType='video'>"
        "<Representation id='v' bandwidth='9'>" +
            std::string(each.set) + "</Representation></AdaptationSet></Period></MPD>");
    ASSERT_EQ(timeline->events.size(), 1u);
    EXPECT_EQ(timeline->events[0].position, 12.5);
    EXPECT_EQ(timeline->events[0].item.key, platform::Value("urn:s 1"));
    EXPECT_EQ(timeline->events[0].item.value.asData()->size(), 2u);
    EXPECT_EQ(timeline->events[0].item.extraAttributes.get("duration"), platform::Value(0.5));
    std::optional<SegmentRule::Place> place;
    for (const SegmentRule& rule : timeline->rules) {
      EXPECT_EQ(rule.variant, "v");
      if (!place) place = rule.placeOf(std::string("http://h/") + each.url);
      EXPECT_FALSE(rule.placeOf("http://h/v/4"));
    }
    EXPECT_EQ(place.has_value(), each.duration > 0) << each.set;
    if (!place) continue;
    EXPECT_EQ(place->start, each.start) << each.set;
    EXPECT_EQ(place->duration, each.duration) << each.set;
  }
}

}  // namespace
}  // namespace box
