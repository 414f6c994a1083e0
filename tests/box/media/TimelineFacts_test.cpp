#include "box/media/TimelineFacts.h"

#include <gtest/gtest.h>

namespace box {
namespace {

/// Four segments of four seconds from position 8 on; the last two share a resource.
std::shared_ptr<MediaTimeline> liveTimeline() {
  auto timeline = std::make_shared<MediaTimeline>();
  timeline->live = true;
  timeline->targetDuration = 4;
  timeline->segments = {
      {8, 4, "a", 0, {}}, {12, 4, "b", 0, {}}, {16, 4, "c", 0, 100}, {20, 4, "c", 100, 100}};
  timeline->dates = {{16, {1000}, true}};
  return timeline;
}

TEST(TimelineFacts, FollowFromThePlaylistAndWhatHasCome) {
  using Ranges = std::vector<platform::TimeRange>;
  struct Case {
    const char* what;
    double position;
    std::vector<RelayedRange> ranges;
    Ranges loaded;
    std::optional<double> keepUp;
  };
  for (const Case& c : {
           Case{"nothing yet", 8, {}, {}, std::nullopt},
           Case{"under way", 8, {{"a", 0, 50, 100, false}}, {}, std::nullopt},
           // Six seconds are missing, at 100 bytes in four seconds.
           Case{"one", 8, {{"a", 0, 100, 100, true}}, {{8, 4}}, 6 * 25 / 100.0},
           Case{"the end of one", 8, {{"a", 50, 100, 100, true}}, {}, std::nullopt},
           Case{"half a shared one", 16, {{"c", 0, 150, 200, false}}, {{16, 4}}, 1.0},
           Case{"all that is left", 17, {{"c", 0, 200, 200, true}}, {{16, 8}}, 0},
           Case{"with a gap",
                8,
                {{"c", 0, 200, 200, true}, {"a", 0, 100, 100, true}, {"x", 0, 9, 9, true}},
                {{8, 4}, {16, 8}},
                1.5},
           Case{"without one",
                9,
                {{"b", 0, 300, {}, true}, {"a", 0, 100, 100, true}},
                {{8, 8}},
                1.5},
       }) {
    const auto facts = TimelineFacts::of({.position = c.position,
                                          .duration = {},
                                          .url = "m",
                                          .timeline = liveTimeline(),
                                          .ranges = c.ranges,
                                          .observedBitrate = 800});
    EXPECT_EQ(facts.loaded, c.loaded) << c.what;
    EXPECT_EQ(facts.likelyToKeepUpTime, c.keepUp) << c.what;
    EXPECT_EQ(facts.liveWindow, (platform::TimeRange{8, 4})) << c.what;
    EXPECT_EQ(facts.playbackDate.has_value(), c.position >= 16) << c.what;
    EXPECT_EQ(facts.estimatedDate->secondsSince1970, 984 + c.position) << c.what;
  }
  auto ended = liveTimeline();
  ended->live = false;
  EXPECT_FALSE(TimelineFacts::of({.url = "m", .timeline = ended}).liveWindow);
}

TEST(TimelineFacts, CountTheBytesOfWhatIsOneResource) {
  TimelineInput input{.position = 50, .duration = 100, .url = "m", .timeline = {}, .ranges = {}};
  input.ranges = {{"m", 600, 700, 1000, false},
                  {"m", 0, 200, 1000, true},
                  {"m", 150, 550, 1000, false},
                  {"other", 0, 9, 9, true}};
  auto facts = TimelineFacts::of(input);
  EXPECT_EQ(facts.loaded, (std::vector<platform::TimeRange>{{0, 55}, {60, 10}}));
  EXPECT_FALSE(facts.likelyToKeepUpTime || facts.liveWindow || facts.estimatedDate);
  input.observedBitrate = 400;
  EXPECT_EQ(TimelineFacts::of(input).likelyToKeepUpTime, 1) << "five seconds of ten bytes each";
  input.position = 97;
  input.ranges = {{"m", 960, 1000, 1000, true}};
  EXPECT_EQ(TimelineFacts::of(input).likelyToKeepUpTime, 0) << "to the end";
  input.duration.reset();
  EXPECT_TRUE(TimelineFacts::of(input).loaded.empty());
}

}  // namespace
}  // namespace box
