#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/streaming/manifest/dash/DASHTexts.h"

namespace streaming {
namespace {

const std::string kPeriodSet =
    "<AdaptationSet contentType=\"video\"><SegmentTemplate media=\"$Number$\" duration=\"2\"/>"
    "<Representation id=\"v\"/></AdaptationSet>";

std::string periodWith(const std::string& attributes, const std::string& content = kPeriodSet) {
  return "<Period " + attributes + ">" + content + "</Period>";
}

const Representation& firstOf(const Presentation& presentation, std::size_t period = 0) {
  return *presentation.periods.at(period).tracks.at(0).representations.at(0);
}

const std::string kLivePeriods =
    "type=\"dynamic\" availabilityStartTime=\"1970-01-01T00:00:00Z\" "
    "minimumUpdatePeriod=\"PT2S\"";

TEST(DASHPeriods, ComputesStartAndDuration) {
  const std::string fixed = "type=\"static\"";
  const struct {
    std::string attributes;
    std::string periods;
    std::string expected;  ///< "ID START+DURATION" of each period
  } cases[] = {
      {fixed, periodWith("id='a' duration='PT4S'") + periodWith("id='b' duration='PT6S'"),
       "a 0+4, b 4+6"},
      {fixed + " mediaPresentationDuration='PT20S'",
       periodWith("id='a'") + periodWith("id='b' start='PT5S'"), "a 0+5, b 5+15"},
      // Overlapping periods.
      {fixed,
       periodWith("id='a' duration='PT9S'") + periodWith("id='b' start='PT5S' duration='PT1S'"),
       "a 0+5, b 5+1"},
      {fixed + " mediaPresentationDuration='PT9S'",
       periodWith("duration='PT0S'") + periodWith("id='b'"), "b 0+9"},
      // Remote periods keep their duration. Periods that resolve to zero have none.
      {fixed,
       periodWith("xlink:href='http://x/' duration='PT3S'", "") +
           periodWith("xlink:href='urn:mpeg:dash:resolve-to-zero:2013' duration='PT5S'") +
           periodWith("id='c' duration='PT1S'"),
       "c 3+1"},
      {fixed,
       periodWith("id='a' duration='PT1S'") +
           periodWith("id='b' duration='PT1S'",
                      "<EssentialProperty schemeIdUri='urn:unknown'/>" + kPeriodSet) +
           periodWith("id='c' duration='PT1S'"),
       "a 0+1, c 2+1"},
      // The start of the second period is not known.
      {kLivePeriods, periodWith("id='a' start='PT3S'") + periodWith("id='b'"), "a 3+?"},
      {kLivePeriods, periodWith("id='a' start='PT3S'") + periodWith("id='a' start='PT9S'"),
       "a 3+6, a@9000 9+?"},
      {kLivePeriods + " mediaPresentationDuration='PT0S'", periodWith("start='PT1.5S'"),
       "@1500 1.5+?"},
  };
  for (const auto& each : cases) {
    const auto presentation = presentationOf(mpd(each.periods, each.attributes));
    ASSERT_NE(presentation, nullptr) << each.periods;
    std::string actual;
    for (const Period& period : presentation->periods) {
      char text[64];
      std::snprintf(text, sizeof text, " %g+", period.start);
      actual += (actual.empty() ? "" : ", ") + period.id + text;
      std::snprintf(text, sizeof text, "%g", period.duration.value_or(0));
      actual += period.duration ? text : "?";
    }
    EXPECT_EQ(actual, each.expected) << each.periods;
  }
}

TEST(DASHPeriods, KeepIDsWhenEarlierPeriodsAreRemoved) {
  const std::string first = periodWith("id='a' start='PT0S'");
  const std::string second = periodWith("start='PT8S'");
  const auto before = presentationOf(mpd(first + second, kLivePeriods));
  const auto later = presentationOf(mpd(second, kLivePeriods));
  const Representation& old = firstOf(*before, 1);
  EXPECT_NE(old.id, firstOf(*before, 0).id);
  EXPECT_EQ(old.id, firstOf(*later).id);
  const auto segment = old.segments->at(11);
  EXPECT_EQ(segment->discontinuity, firstOf(*later).segments->at(11)->discontinuity);
  EXPECT_EQ(firstOf(*later).segments->after(*segment)->start, 12);
}

TEST(DASHPeriods, SegmentsContinueInAnUpdate) {
  const auto timeline = [](const std::string& runs, int number) {
    return presentationOf(
        mpd(periodWith("start='PT0S'",
                       "<AdaptationSet contentType='video'><SegmentTemplate media='$Number$' "
                       "timescale='10' startNumber='" +
                           std::to_string(number) + "'><SegmentTimeline>" + runs +
                           "</SegmentTimeline></SegmentTemplate><Representation/></AdaptationSet>"),
            kLivePeriods));
  };
  const auto before = timeline("<S t='100' d='20' r='2'/>", 5);
  const auto old = firstOf(*before).segments;
  EXPECT_FALSE(old->isComplete());
  const auto last = old->last({});
  EXPECT_EQ(last->number, 7u);
  EXPECT_FALSE(last->availableFrom);
  EXPECT_FALSE(old->after(*last));
  // The oldest segment was removed, and the numbering was restarted.
  const auto next = firstOf(*timeline("<S t='120' d='20' r='2'/>", 1)).segments->after(*last);
  ASSERT_TRUE(next);
  EXPECT_EQ(next->start, 16);
  EXPECT_EQ(next->number, 3u);
}

TEST(DASHPeriods, AcceptsOverlapsAndGapsInATimeline) {
  const struct {
    std::string runs;
    std::string expected;
  } cases[] = {
      {"<S t='0' d='4' r='1'/><S t='7' d='4'/>", "0+4 0\n4+4 4\n7+4 7\n"},
      {"<S t='0' d='4'/><S t='6' d='4'/>", "0+4 0\n6+4 6\n"},
      {"<S t='0' d='4'/><S t='0' d='4'/><S d='2'/>", "0+4 0\n4+2 4\n"},
      {"<S d='0' r='5'/><S d='3' r='-1'/><S d='1'/>", "0+3 0\n3+3 3\n6+3 6\n9+3 9\n"},
  };
  for (const auto& each : cases) {
    const auto presentation =
        presentationOf(mpd(video("<SegmentTemplate media=\"$Time$\"><SegmentTimeline>" + each.runs +
                                 "</SegmentTimeline></SegmentTemplate>"),
                           "mediaPresentationDuration='PT12S'"));
    ASSERT_NE(presentation, nullptr);
    EXPECT_EQ(segmentTextOf(*firstOf(*presentation).segments), each.expected) << each.runs;
  }
}

TEST(DASHPeriods, ComputesSegmentAvailability) {
  const struct {
    std::string base;
    std::string attribute;
    double expected;  ///< availability of the segment from 10 to 12
  } cases[] = {
      {"", "", 12},
      {"", "availabilityTimeOffset='1.5'", 10.5},
      {"<BaseURL availabilityTimeOffset='1'>b/</BaseURL>", "availabilityTimeOffset='0.5'", 10.5},
      {"<BaseURL availabilityTimeOffset='INF'>b/</BaseURL>", "", 12 - 1e9},
  };
  for (const auto& each : cases) {
    const auto presentation =
        presentationOf(mpd(each.base + video("<SegmentTemplate media=\"$Number$\" duration=\"2\" " +
                                             each.attribute + "/>"),
                           kLivePeriods));
    ASSERT_NE(presentation, nullptr);
    const SegmentIndex& segments = *firstOf(*presentation).segments;
    EXPECT_EQ(segments.at(10)->availableFrom, platform::Date{each.expected}) << each.attribute;
    if (each.expected > 0) {
      EXPECT_EQ(segments.last(platform::Date{each.expected + 0.1})->start, 10) << each.attribute;
    }
  }
  // An open-ended run.
  const auto open = presentationOf(
      mpd(video("<SegmentTemplate media=\"$Time$\"><SegmentTimeline><S d='2' r='-1'/>"
                "</SegmentTimeline></SegmentTemplate>"),
          kLivePeriods));
  EXPECT_EQ(firstOf(*open).segments->at(10)->availableFrom, platform::Date{12});
  EXPECT_EQ(firstOf(*open).segments->last(platform::Date{13})->start, 10);
}

TEST(DASHPeriods, SegmentsInheritTheQueryOfTheManifest) {
  ManifestOrigin origin = kManifestOrigin;
  origin.inheritsQuery = true;
  const auto result =
      readDASH(mpd("<Location>next.mpd</Location><PatchLocation>patch.mpp?p=1</PatchLocation>"
                   "<UTCTiming schemeIdUri='urn:mpeg:dash:utc:http-iso:2014' value='/a /b?c'/>"
                   "<BaseURL>b/</BaseURL>" +
                       video("<SegmentTemplate media=\"$Number$\" initialization=\"i?own\" "
                             "duration=\"2\"/>"),
                   kLivePeriods),
               origin, nullptr);
  const auto presentation = std::get<std::shared_ptr<const Presentation>>(result);
  EXPECT_EQ(presentation->reload->url, "http://host/dir/next.mpd?t=1");
  EXPECT_EQ(presentation->reload->patchURL, "http://host/dir/patch.mpp?p=1");
  EXPECT_EQ(presentation->clocks.at(0).second, "http://host/a?t=1 http://host/b?c");
  const auto segment = firstOf(*presentation).segments->at(0);
  EXPECT_THAT(segment->resource.urls, testing::ElementsAre("http://host/dir/b/1?t=1"));
  EXPECT_EQ(segment->initialization->resource.urls.at(0), "http://host/dir/b/i?own");
}

}  // namespace
}  // namespace streaming
