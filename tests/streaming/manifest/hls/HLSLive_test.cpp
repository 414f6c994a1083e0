#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/media/TimedMetadataItem.h"
#include "streaming/manifest/EventKeys.h"
#include "tests/streaming/manifest/hls/HLSTexts.h"

namespace streaming::test {
namespace {

using ::testing::ElementsAre;

std::string dateTag(int seconds) {
  constexpr int kMinute = 60;
  const auto digits = [](int number) { return (number < 10 ? "0" : "") + std::to_string(number); };
  return "#EXT-X-PROGRAM-DATE-TIME:2026-01-01T" + digits(seconds / kMinute / kMinute) + ":" +
         digits(seconds / kMinute % kMinute) + ":" + digits(seconds % kMinute) + "Z\n";
}

/// "NUMBER@START/DISCONTINUITY" of each segment; parts as "NUMBER.PART".
std::string describeSegments(const MediaPlaylist& playlist) {
  std::string text;
  for (const Segment& each : segmentsOf(playlist)) {
    text += std::to_string(each.number);
    if (each.part) text += '.' + std::to_string(*each.part);
    text += '@' + std::to_string(static_cast<int>(each.start)) + '/' +
            std::to_string(each.discontinuity) + ' ';
  }
  return text;
}

TEST(HLSLive, ContinuesTheTimeLineAfterAReload) {
  PlaylistContext plain;
  plain.previous = playlistOf(livePlaylist(10, 3));
  EXPECT_TRUE(plain.previous->isLive);
  EXPECT_EQ(plain.previous->reload->interval, 4);
  PlaylistContext dated;
  dated.previous = playlistOf(livePlaylist(10, 3, dateTag(0)));
  const Segment last = *plain.previous->segments->last({});
  EXPECT_FALSE(plain.previous->segments->after(last));
  const std::string counted = "#EXT-X-DISCONTINUITY-SEQUENCE:0\n";
  const struct {
    const char* name;
    const PlaylistContext& context;
    std::string text;
    std::string places;
    std::optional<std::uint64_t> next;  // after the last segment of the first version
  } cases[] = {
      {"unchanged", plain, livePlaylist(10, 3), "10@0/0 11@4/0 12@8/0 ", {}},
      {"slides", plain, livePlaylist(11, 3), "11@4/0 12@8/0 13@12/0 ", 13},
      {"grows", plain, livePlaylist(10, 4), "10@0/0 11@4/0 12@8/0 13@12/0 ", 13},
      {"shrinks", plain, livePlaylist(12, 1), "12@8/0 ", {}},
      {"two segments missed", plain, livePlaylist(15, 2), "15@20/1 16@24/1 ", 15},
      {"missed without a discontinuity", plain, livePlaylist(15, 1, counted), "15@20/0 ", 15},
      {"missed, aligned by date", dated, livePlaylist(70, 1, dateTag(100)), "70@100/1 ", 70},
      {"outdated", plain, livePlaylist(9, 2), "9@-4/0 10@0/0 ", {}},
      {"renumbered", plain, livePlaylist(1, 2), "1@12/1 2@16/1 ", 1},
      {"renumbered with discontinuity sequence", plain, livePlaylist(1, 1, counted), "1@12/1 ", 1},
      {"renumbered with overlapping numbers", plain, livePlaylist(9, 2, {}, "x"), "9@12/1 10@16/1 ",
       9},
      {"renumbered, aligned by date", dated, livePlaylist(10, 1, dateTag(3600)), "10@3600/1 ", 10},
      {"numbered by time", plain, livePlaylist(1'700'000'000, 1), "1700000000@12/1 ",
       1'700'000'000},
      {"ends", plain, livePlaylist(12, 2) + "#EXT-X-ENDLIST\n", "12@8/0 13@12/0 ", 13},
      {"becomes empty", plain, livePlaylist(13, 0), "", {}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    const auto playlist = playlistOf(each.text, each.context);
    ASSERT_NE(playlist, nullptr);
    EXPECT_EQ(describeSegments(*playlist), each.places);
    const auto next = playlist->segments->after(last);
    EXPECT_EQ(next ? std::optional(next->number) : std::nullopt, each.next);
  }
}

TEST(HLSLive, AlignsToASiblingPlaylist) {
  PlaylistContext dated;
  dated.sibling = playlistOf(livePlaylist(7, 5, dateTag(1000)));
  PlaylistContext counted;
  counted.sibling = playlistOf(livePlaylist(7, 2, "#EXT-X-DISCONTINUITY-SEQUENCE:3\n") +
                               "#EXT-X-DISCONTINUITY\n#EXTINF:4,\n9.ts\n");
  PlaylistContext ended;
  ended.sibling = playlistOf(livePlaylist(0, 3) + "#EXT-X-ENDLIST\n");
  const struct {
    const char* name;
    const PlaylistContext& context;
    std::string text;
    double start;
  } cases[] = {
      {"by date", dated, livePlaylist(8, 5, dateTag(1008)), 8},
      {"by media sequence number", dated, livePlaylist(8, 5), 4},
      {"by end", dated, livePlaylist(70, 4), 4},
      {"by discontinuity", counted,
       livePlaylist(70, 1, "#EXT-X-DISCONTINUITY-SEQUENCE:3\n") +
           "#EXT-X-DISCONTINUITY\n#EXTINF:4,\n71.ts\n",
       4},
      {"has ended meanwhile", dated, livePlaylist(8, 5) + "#EXT-X-ENDLIST\n", 4},
      {"was never live", ended, livePlaylist(1, 3) + "#EXT-X-ENDLIST\n", 0},
  };
  for (const auto& each : cases)
    EXPECT_EQ(playlistOf(each.text, each.context)->segments->first({})->start, each.start)
        << each.name;
}

TEST(HLSLive, DiscontinuitiesMatchAcrossVersionsAndPlaylists) {
  // Without EXT-X-DISCONTINUITY-SEQUENCE.
  PlaylistContext context;
  context.previous = playlistOf(livePlaylist(10, 1) + "#EXT-X-DISCONTINUITY\n" +
                                "#EXTINF:4,\ns11.ts\n#EXTINF:4,\ns12.ts\n");
  context.previous = playlistOf(livePlaylist(11, 3), context);
  EXPECT_EQ(describeSegments(*context.previous), "11@4/1 12@8/1 13@12/1 ");
  PlaylistContext sound;
  sound.sibling = context.previous;
  EXPECT_EQ(describeSegments(*playlistOf(livePlaylist(11, 1, {}, "a"), sound)), "11@4/1 ");
  // A restarted encoder counts discontinuities from 0 again.
  const std::string counted = "#EXT-X-DISCONTINUITY-SEQUENCE:0\n";
  context.previous = playlistOf(livePlaylist(10, 3, counted));
  context.previous = playlistOf(livePlaylist(0, 2, counted), context);
  context.previous = playlistOf(livePlaylist(1, 2, counted), context);
  EXPECT_EQ(describeSegments(*context.previous), "1@16/1 2@20/1 ");
  sound.sibling = context.previous;
  EXPECT_EQ(describeSegments(*playlistOf(livePlaylist(1, 1, counted, "a"), sound)), "1@16/1 ");
}

TEST(HLSLive, CompletesADeltaUpdateFromThePreviousVersion) {
  const std::string range = "#EXT-X-DATERANGE:START-DATE=\"2026-01-01T00:00:05Z\",ID=";
  PlaylistContext context;
  context.previous =
      playlistOf(livePlaylist(10, 1, dateTag(0) + range + "\"a\"\n" + range + "\"b\"\n") +
                 "#EXT-X-MAP:URI=\"i.mp4\"\n#EXT-X-DISCONTINUITY\n" + dateTag(100) +
                 "#EXTINF:4,\ns11.ts\n#EXTINF:4,\ns12.ts\n");
  const auto skipping = [&](std::uint64_t first, const std::string& attributes,
                            const std::string& more = {}) {
    return playlistOf(
        livePlaylist(first, 0) + "#EXT-X-SKIP:" + attributes + "\n" + more + "#EXTINF:4,\ns13.ts\n",
        context);
  };
  const auto delta = skipping(11, "SKIPPED-SEGMENTS=2,RECENTLY-REMOVED-DATERANGES=\"x\tb\"");
  ASSERT_NE(delta, nullptr);
  EXPECT_EQ(describeSegments(*delta), "11@4/1 12@8/1 13@12/1 ");
  const Segment last = *delta->segments->last({});
  EXPECT_EQ(last.initialization->resource.urls.front(), "http://host/path/i.mp4");
  ASSERT_EQ(delta->dates.size(), 1u);
  EXPECT_EQ(delta->dates[0].position, 4);
  EXPECT_TRUE(delta->dates[0].isDiscontinuous);
  ASSERT_EQ(delta->events.size(), 1u);
  EXPECT_EQ(delta->events[0].item->extraAttributes.get(kEventIdentifier), platform::Value("a"));
  EXPECT_EQ(delta->events[0].position, 5);
  // Without its base a delta update is rejected.
  EXPECT_EQ(skipping(90, "SKIPPED-SEGMENTS=2"), nullptr);
  EXPECT_EQ(skipping(11, "SKIPPED-SEGMENTS=3"), nullptr);
  EXPECT_EQ(skipping(11, "SKIPPED-SEGMENTS=2", "#EXT-X-SKIP:SKIPPED-SEGMENTS=2\n"), nullptr);
  EXPECT_EQ(skipping(0, "SKIPPED-SEGMENTS=18446744073709551615"), nullptr);
  context.previous = nullptr;
  EXPECT_EQ(skipping(11, "SKIPPED-SEGMENTS=2"), nullptr);
}

std::string partTags(int segment, int first, int count) {
  std::string text;
  for (int part = first; part < first + count; ++part)
    text += "#EXT-X-PART:DURATION=1,URI=\"" + std::to_string(segment) + "." + std::to_string(part) +
            ".mp4\"\n";
  return text;
}

TEST(HLSLive, ListsPartsBeforeTheirSegment) {
  const std::string head =
      "#EXT-X-PART-INF:PART-TARGET=1\n"
      "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=3,CAN-SKIP-UNTIL=24\n";
  const std::string preload = "#EXT-X-PRELOAD-HINT:TYPE=PART,URI=\"6.2.mp4\"\n";
  const std::string whole = "#EXTINF:4,\ns6.ts\n";
  PlaylistContext context;
  context.previous = playlistOf(livePlaylist(5, 1, head) + partTags(6, 0, 2) + preload);
  EXPECT_EQ(describeSegments(*context.previous), "5@0/0 6.0@4/0 6.1@5/0 ");
  EXPECT_EQ(context.previous->partHoldBack, 3);
  EXPECT_EQ(context.previous->segments->at(5.5)->part, 1u);
  EXPECT_EQ(reloadURL("http://host/a", *context.previous->reload),
            "http://host/a?_HLS_msn=6&_HLS_part=2&_HLS_skip=YES");
  EXPECT_EQ(reloadURL("http://host/a?b", *context.previous->reload),
            "http://host/a?b&_HLS_msn=6&_HLS_part=2&_HLS_skip=YES");
  const Segment last = *context.previous->segments->last({});
  const auto hint = context.previous->segments->preloadHintAfter(last);
  ASSERT_TRUE(hint);
  EXPECT_EQ(hint->resource.urls.front(), "http://host/path/6.2.mp4");
  EXPECT_EQ(hint->start, 6);
  EXPECT_FALSE(context.previous->segments->preloadHintAfter(*hint));
  const struct {
    const char* name;
    std::string text;
    std::string next;  // all that follow the last part
  } cases[] = {
      {"nothing new", livePlaylist(5, 1, head) + partTags(6, 0, 2), ""},
      {"another part", livePlaylist(5, 1, head) + partTags(6, 0, 3), "6.2 "},
      {"the whole segment and its parts",
       livePlaylist(5, 1, head) + partTags(6, 0, 4) + whole + partTags(7, 0, 1), "6.2 6.3 7.0 "},
      {"the segments without parts", livePlaylist(5, 3, head), "6 7 "},
      {"a later window", livePlaylist(8, 1, head), "8 "},
      {"renumbered", livePlaylist(0, 1, head) + partTags(1, 0, 1), "0 1.0 "},
  };
  for (const auto& each : cases) {
    const auto playlist = playlistOf(each.text, context);
    std::string actual;
    for (auto next = playlist->segments->after(last); next && actual.size() < 100;
         next = playlist->segments->after(*next))
      actual += std::to_string(next->number) +
                (next->part ? "." + std::to_string(*next->part) : std::string()) + " ";
    EXPECT_EQ(actual, each.next) << each.name;
  }
}

TEST(HLSLive, ReturnsTheReloadRule) {
  const struct {
    std::string tags;
    double interval;
    const char* url;
    std::optional<double> holdBack, partHoldBack;
  } cases[] = {
      {"", 4, "u", {}, {}},
      {"#EXT-X-TARGETDURATION:0\n", 0.5, "u", {}, {}},
      {"#EXT-X-SERVER-CONTROL:HOLD-BACK=12,PART-HOLD-BACK=2\n", 4, "u", 12, {}},
      {"#EXT-X-SERVER-CONTROL:HOLD-BACK=-1,CAN-BLOCK-RELOAD=YES\n", 4, "u?_HLS_msn=8", {}, {}},
      {"#EXT-X-SERVER-CONTROL:CAN-SKIP-UNTIL=24\n", 4, "u?_HLS_skip=YES", {}, {}},
      {"#EXT-X-PART-INF:PART-TARGET=1\n#EXT-X-SERVER-CONTROL:PART-HOLD-BACK=3\n", 1, "u", {}, 3},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.tags);
    const auto playlist = playlistOf(livePlaylist(7, 1, each.tags));
    ASSERT_TRUE(playlist->reload);
    EXPECT_EQ(playlist->reload->interval, each.interval);
    EXPECT_EQ(reloadURL("u", *playlist->reload), each.url);
    EXPECT_EQ(playlist->holdBack, each.holdBack);
    EXPECT_EQ(playlist->partHoldBack, each.partHoldBack);
  }
  EXPECT_FALSE(playlistOf(livePlaylist(0, 1, "#EXT-X-PLAYLIST-TYPE:VOD\n"))->isLive);
  EXPECT_TRUE(playlistOf(livePlaylist(0, 1, "#EXT-X-PLAYLIST-TYPE:EVENT\n"))->isEvent);
}

TEST(HLSLive, ConvertsDateRangesToPositions) {
  const std::string ranges =
      "#EXT-X-DATERANGE:ID=\"ad\",CLASS=\"break\",START-DATE=\"2026-01-01T00:00:15Z\","
      "X-NAME=\"Cola, cold\"\n#EXT-X-DATERANGE:ID=\"ad\",DURATION=1.5,SCTE35-OUT=0x01\n"
      "#EXT-X-DATERANGE:ID=\"early\",START-DATE=\"2026-01-01T00:00:05Z\"\n"
      "#EXT-X-DATERANGE:ID=\"when\"\n"
      "#EXT-X-DATERANGE:ID=\"one\",CLASS=\"c\",START-DATE=\"2026-01-01T00:00:20Z\","
      "END-ON-NEXT=YES\n"
      "#EXT-X-DATERANGE:ID=\"two\",CLASS=\"c\",START-DATE=\"2026-01-01T00:00:23Z\","
      "END-DATE=\"2026-01-01T00:00:24Z\"\n";
  const auto actual = [](const MediaPlaylist& playlist) {
    std::vector<std::string> lines;
    for (const PresentationEvent& event : playlist.events) {
      std::string line = *event.item->extraAttributes.string(kEventIdentifier) + '@' +
                         std::to_string(static_cast<int>(event.position)) + ' ' +
                         *event.item->key.asString();
      for (const auto& name : {"X-NAME", "SCTE35-OUT"})
        if (const auto value = event.item->value.asDictionary()->string(name)) line += ' ' + *value;
      if (const auto duration = event.item->extraAttributes.number(kEventDuration))
        line += " for " + std::to_string(static_cast<int>(duration->doubleValue() * 10)) + "/10";
      lines.push_back(line);
      EXPECT_EQ(event.item->keySpace, kKeySpaceDateRanges);
    }
    return lines;
  };
  PlaylistContext context;
  context.previous = playlistOf(livePlaylist(1, 3, dateTag(10) + ranges));
  const auto expected = ElementsAre("ad@5 break Cola, cold 0x01 for 15/10", "one@10 c for 30/10",
                                    "two@13 c for 10/10");
  EXPECT_THAT(actual(*context.previous), expected);
  // The date mark was removed from the window and is still used.
  context.previous = playlistOf(livePlaylist(2, 3, ranges), context);
  context.previous = playlistOf(livePlaylist(3, 3, ranges), context);
  EXPECT_THAT(actual(*context.previous), expected);
  EXPECT_EQ(context.previous->dates.size(), 1u);
  EXPECT_TRUE(playlistOf(livePlaylist(1, 3, ranges))->events.empty())
      << "the playlist has no dates";
}

}  // namespace
}  // namespace streaming::test
