#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/media/TimedMetadataItem.h"
#include "streaming/manifest/EventKeys.h"
#include "tests/streaming/manifest/dash/DASHTexts.h"

namespace streaming {
namespace {

TEST(DASH, ReadsSegmentsOfAllAddressingSchemes) {
  const struct {
    std::string content;
    std::string representation;
    std::string expected;
  } cases[] = {
      {"<SegmentTemplate media=\"$RepresentationID$/$Number%03d$.m4s\" duration=\"4000\" "
       "timescale=\"1000\" startNumber=\"7\"/>",
       "", "0+4 v/007.m4s\n4+4 v/008.m4s\n8+2 v/009.m4s\n"},
      {"<SegmentTemplate media=\"$Bandwidth$-$$-$Time$\" timescale=\"10\" "
       "presentationTimeOffset=\"100\"><SegmentTimeline><S t=\"100\" d=\"30\" r=\"1\"/><S "
       "d=\"40\"/>"
       "</SegmentTimeline></SegmentTemplate>",
       "", "0+3 500-$-100\n3+3 500-$-130\n6+4 500-$-160\n"},
      {"<SegmentTemplate media=\"$Time$\"><SegmentTimeline><S t=\"0\" d=\"2\" r=\"-1\"/>"
       "<S t=\"6\" d=\"3\" r=\"-1\"/></SegmentTimeline></SegmentTemplate>",
       "", "0+2 0\n2+2 2\n4+2 4\n6+3 6\n9+1 9\n"},
      {"<SegmentTemplate media=\"$Number$.$SubNumber$\" startNumber=\"3\" endNumber=\"5\">"
       "<SegmentTimeline><S t=\"0\" d=\"4\" k=\"2\" r=\"1\"/><S d=\"2\" r=\"9\"/>"
       "</SegmentTimeline></SegmentTemplate>",
       "", "0+2 3.1\n2+2 3.2\n4+2 4.1\n6+2 4.2\n8+2 5.1\n"},
      {"<SegmentTemplate duration=\"5\" initialization=\"i\"/>",
       "<SegmentTemplate media=\"$Number$\"/>", "0+5 1\n5+5 2\n"},
      {"<SegmentList duration=\"5\"><SegmentURL media=\"a\"/>"
       "<SegmentURL mediaRange=\"10-19\"/></SegmentList>",
       "<BaseURL>all.mp4</BaseURL>", "0+5 a\n5+5 all.mp4@10\n"},
  };
  for (const auto& each : cases) {
    const auto presentation = presentationOf(mpd(video(each.content, each.representation)));
    ASSERT_NE(presentation, nullptr) << each.content;
    const auto& representation = presentation->periods[0].tracks[0].representations[0];
    ASSERT_NE(representation->segments, nullptr);
    EXPECT_EQ(segmentTextOf(*representation->segments), each.expected) << each.content;
    EXPECT_EQ(representation->segments->at(9.9)->end(), 10);
    EXPECT_FALSE(representation->segments->at(10));
  }
}

TEST(DASH, ReadsBaseURLsAndPeriods) {
  const auto presentation =
      presentationOf(mpd("<BaseURL>http://cdn/a/</BaseURL><BaseURL>http://other/a/</BaseURL>"
                         "<Period duration=\"PT4S\"><BaseURL>p1/</BaseURL><AdaptationSet "
                         "contentType=\"audio\" lang=\"en\">"
                         "<SegmentTemplate media=\"$Number$\" "
                         "duration=\"2\"/><Representation/></AdaptationSet></Period>"
                         "<Period><AdaptationSet contentType=\"audio\" "
                         "lang=\"en\"><SegmentTemplate media=\"$Number$\" "
                         "duration=\"2\" presentationTimeOffset=\"50\"/><Representation "
                         "id=\"a\"/></AdaptationSet></Period>"));
  ASSERT_NE(presentation, nullptr);
  ASSERT_EQ(presentation->periods.size(), 2u);
  EXPECT_EQ(presentation->periods[1].start, 4);
  EXPECT_EQ(presentation->periods[0].tracks[0].id, presentation->periods[1].tracks[0].id);
  const auto first = presentation->periods[0].tracks[0].representations[0]->segments->first({});
  EXPECT_THAT(first->resource.urls,
              testing::ElementsAre("http://cdn/a/p1/1", "http://other/a/p1/1"));
  const auto& second = *presentation->periods[1].tracks[0].representations[0];
  EXPECT_EQ(second.segments->first({})->start, 4);
  EXPECT_EQ(second.timeOffset, 4 - 50);
  EXPECT_NE(second.segments->first({})->discontinuity, first->discontinuity);
}

TEST(DASH, MovesTheLiveWindow) {
  const auto presentation = presentationOf(
      mpd("<UTCTiming schemeIdUri=\"urn:mpeg:dash:utc:http-iso:2014\" value=\"/time\"/>" +
              video("<SegmentTemplate media=\"$Number$\" duration=\"2\"/>"),
          "type=\"dynamic\" availabilityStartTime=\"1970-01-01T00:01:40Z\" "
          "timeShiftBufferDepth=\"PT6S\" minimumUpdatePeriod=\"PT0S\""));
  ASSERT_NE(presentation, nullptr);
  EXPECT_TRUE(presentation->isLive);
  EXPECT_EQ(presentation->reload->interval, 1);
  EXPECT_EQ(presentation->clocks.at(0).second, "http://host/time");
  const SegmentIndex& index = *presentation->periods[0].tracks[0].representations[0]->segments;
  const platform::Date now{100 + 21};
  EXPECT_EQ(index.first(now)->number, 8u);
  EXPECT_EQ(index.last(now)->number, 10u);
  EXPECT_EQ(index.last(now)->availableFrom, platform::Date{100 + 20});
  EXPECT_EQ(index.after(*index.last(now))->number, 11u);
  EXPECT_FALSE(index.isComplete());
}

TEST(DASH, ReadsTrackAttributes) {
  const std::string url = "<SegmentTemplate media=\"$Number$\" duration=\"2\"/>";
  const auto presentation = presentationOf(mpd(
      "<Period><AdaptationSet contentType=\"video\" codecs=\"avc1.4d,mp4a.40\">" + url +
      "<Accessibility schemeIdUri=\"urn:scte:dash:cc:cea-608:2015\" value=\"CC1=eng;CC3=swe\"/>"
      "<Representation id=\"hi\" bandwidth=\"9\" width=\"640\" height=\"360\" "
      "frameRate=\"30000/1001\"/>"
      "<Representation id=\"lo\" bandwidth=\"1\"/></AdaptationSet>"
      "<AdaptationSet contentType=\"video\">" +
      url +
      "<EssentialProperty schemeIdUri=\"http://dashif.org/guidelines/trickmode\" value=\"1\"/>"
      "<Representation id=\"frames\"/></AdaptationSet>"
      "<AdaptationSet contentType=\"video\">" +
      url +
      "<EssentialProperty schemeIdUri=\"urn:unknown\"/><Representation id=\"x\"/></AdaptationSet>"
      "<AdaptationSet mimeType=\"application/octet-stream\">" +
      url +
      "<Representation/></AdaptationSet>"
      "<AdaptationSet>" +
      url +
      "<Representation/></AdaptationSet>"
      "<AdaptationSet mimeType=\"audio/mp4\" lang=\"fr\"><Label>Son</Label>" +
      url +
      "<Role schemeIdUri=\"urn:mpeg:dash:role:2011\" value=\"main\"/>"
      "<ContentProtection schemeIdUri=\"urn:mpeg:dash:mp4protection:2011\" value=\"cbcs\" "
      "cenc:default_KID=\"01234567-89AB-CDEF-0123-456789abcdef\"/><Representation "
      "id=\"a\"/></AdaptationSet>"
      "<AdaptationSet mimeType=\"text/vtt\" lang=\"de\"><Role "
      "schemeIdUri=\"urn:mpeg:dash:role:2011\" "
      "value=\"forced-subtitle\"/><Representation "
      "id=\"t\"><BaseURL>de.vtt</BaseURL></Representation>"
      "</AdaptationSet><AdaptationSet mimeType=\"application/mp4\" codecs=\"stpp\" lang=\"de\">" +
      url + "<Representation id=\"s\"/></AdaptationSet></Period>"));
  ASSERT_NE(presentation, nullptr);
  std::string actual;
  for (const Track& track : presentation->periods[0].tracks) {
    actual += track.id + (track.isDefault ? "!" : "") + (track.isForced ? "F" : "") + ":";
    for (const auto& each : track.representations)
      actual +=
          ' ' + each->id + (each->isKeyFramesOnly ? "*" : "") + (each->includesAudio ? "+" : "");
    actual += '\n';
  }
  EXPECT_EQ(actual,
            "CC1:\nCC3:\nvideo: @0/set-0/lo+ @0/set-0/hi+ @0/set-1/frames*\n"
            "audio:fr:Son!: @0/set-5/a\ntext:deF: @0/set-6/t\ntext:de#2: @0/set-7/s\n");
  const auto& tracks = presentation->periods[0].tracks;
  EXPECT_NEAR(tracks[2].representations[1]->frameRate, 29.97, 0.01);
  EXPECT_EQ(tracks[3].representations[0]->protections.at(0).keyIDs.at(0),
            "0123456789abcdef0123456789abcdef");
  EXPECT_EQ(tracks[4].representations[0]->textFormat, TextFormat::WebVTT);
  EXPECT_TRUE(tracks[4].representations[0]->indexedFile);
  EXPECT_EQ(tracks[5].representations[0]->textFormat, TextFormat::MP4);
}

TEST(DASH, ReadsEventsOfAPeriod) {
  const auto presentation = presentationOf(mpd(
      "<Period start=\"PT5S\"><EventStream schemeIdUri=\"urn:e\" value=\"1\" timescale=\"10\" "
      "presentationTimeOffset=\"100\"><Event presentationTime=\"120\" duration=\"5\" id=\"7\">"
      "<x a=\"1\"/></Event><Event presentationTime=\"130\" contentEncoding=\"base64\">AQI=</Event>"
      "</EventStream>" +
      video("<SegmentTemplate media=\"$Number$\" duration=\"2\"/>").substr(8)));
  ASSERT_NE(presentation, nullptr);
  ASSERT_EQ(presentation->events.size(), 2u);
  EXPECT_EQ(presentation->events[0].position, 7);
  EXPECT_EQ(presentation->events[0].item->key, platform::Value("urn:e 1"));
  EXPECT_EQ(presentation->events[0].item->extraAttributes.get(kEventDuration),
            platform::Value(0.5));
  EXPECT_EQ(presentation->events[1].item->value.asData()->size(), 2u);
}

TEST(DASH, RejectsOrIgnoresInvalidNumbers) {
  for (const char* number : {"0", "1e-12", "nan", "-5", "4294967296", "18446744073709551615", ""}) {
    const std::string text = number;
    for (const std::string& content :
         {"<SegmentTemplate media=\"$Number$\" duration=\"" + text + "\"/>",
          "<SegmentTemplate media=\"$Number$\" duration=\"2\" timescale=\"" + text + "\"/>",
          "<SegmentTemplate media=\"$Time$\"><SegmentTimeline><S t=\"" + text + "\" d=\"" + text +
              "\" r=\"" + text + "\"/></SegmentTimeline></SegmentTemplate>"}) {
      for (const char* type : {"type=\"static\"",
                               "type=\"dynamic\" availabilityStartTime="
                               "\"1970-01-01T00:00:00Z\""}) {
        const auto presentation = presentationOf(mpd(
            video(content), type + std::string(" mediaPresentationDuration=\"PT") + text + "S\""));
        if (!presentation) continue;
        const auto& segments = presentation->periods[0].tracks[0].representations[0]->segments;
        if (!segments) continue;
        const platform::Date now{1e9};
        for (const auto& segment : {segments->first(now), segments->last(now), segments->at(1e9)})
          if (segment) segments->after(*segment);
      }
    }
  }
}

TEST(DASH, RejectsOtherDocuments) {
  std::string deep = "<MPD>";
  for (int level = 0; level < 100; ++level) deep += "<a>";
  for (const std::string& text :
       {std::string(), std::string("<MPD"), std::string("<html></html>"), mpd(""),
        mpd("<Period><AdaptationSet/></Period>"), std::string("<SmoothStreamingMedia/>"), deep,
        "<!DOCTYPE MPD [<!ENTITY a \"" + std::string(1000, 'x') + "\">]>" +
            mpd("<Period>&a;</Period>"),
        "<MPD>" + std::string(100000, '&'), std::string(kMaxManifestBytes + 1, ' ')})
    EXPECT_EQ(presentationOf(text), nullptr) << text.substr(0, 60);
}

TEST(DASH, SurvivesRandomChangesOfAManifest) {
  const std::string good = mpd(
      "<BaseURL>b/</BaseURL><Period id=\"1\" start=\"PT0S\"><AdaptationSet mimeType=\"video/mp4\">"
      "<SegmentTemplate media=\"$Number%05d$\" timescale=\"90\"><SegmentTimeline><S t=\"0\" "
      "d=\"180\" "
      "r=\"3\"/><S t=\"900\" d=\"90\" r=\"-1\"/></SegmentTimeline></SegmentTemplate>"
      "<Representation id=\"v\" bandwidth=\"500\"/></AdaptationSet></Period>");
  std::mt19937 random(2);
  const auto pick = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
  constexpr std::string_view kPieces[] = {
      "18446744073709551615", "-1", "nan", "0", "<", ">", "\"", "$", "&amp;", "/", "<Period/>"};
  for (int round = 0; round < 3000; ++round) {
    std::string text = good;
    for (int change = 0; change < 2; ++change) {
      const std::size_t at = pick(text.size());
      if (pick(2) == 0)
        text.erase(at, pick(20));
      else
        text.insert(at, kPieces[pick(std::size(kPieces))]);
    }
    const auto presentation = presentationOf(text);
    if (!presentation) continue;
    for (const Track& track : presentation->periods[0].tracks)
      for (const auto& each : track.representations)
        if (each->segments) segmentTextOf(*each->segments);
  }
}

}  // namespace
}  // namespace streaming
