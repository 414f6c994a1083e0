// What no sender should say, told to the built program.

#include <functional>
#include <limits>
#include <string>

#include "tests/box/SystemFixture.h"

namespace {

using platform::Dictionary;
using platform::Value;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

using BadInput = SystemTest;

TEST_F(BadInput, OfAWrongTypeChangesNothing) {
  launch();
  expectToPlay(1);
  const auto refused = [&](const std::function<std::int32_t()>& call, const char* line) {
    SCOPED_TRACE(line);
    settle();
    const std::size_t before = mark();
    EXPECT_EQ(call(), -6756);
    settle();
    EXPECT_EQ(logCount(line, before), 1U);
    EXPECT_EQ(logCount("#Error", before), 0U);
    EXPECT_EQ(logCount("PostEvent", before), 0U);
  };
  refused(
      [&] {
        return startVideo(clip(), 2, {{"rate", "fast"}}).status;
      },
      "### Vorlane bad value for 'rate' in params:");
  refused(
      [&] {
        return peer->callWith("StopVideo", {{"uuid", 5}}).status;
      },
      "### Vorlane bad value for 'uuid' in params:");
  refused(
      [&] {
        return peer->perform("playlistInsert", {{"item", "clip"}}).status;
      },
      "### Vorlane bad value for 'item' in params:");
  refused([&] { return set("volume", "s", "text"); }, "### Vorlane bad value for 'volume'");
  refused([&] { return set("position", "s", "text"); },
          "Error setting property:  position, error:");
  const Dictionary info = playbackInfo();
  EXPECT_EQ(info.get("uuid"), Value("1"));
  EXPECT_EQ(info.get("rate"), Value(1.0));
  EXPECT_EQ(peer->callBox("Status").out.get("sessions").asArray()->size(), 1U);
}

TEST_F(BadInput, OfNumbersBeyondAllMeasureIsBounded) {
  launch();
  for (const double number : {kNotANumber, kInfinity, -kInfinity, 1e9, -1e300}) {
    SCOPED_TRACE(number);
    const Dictionary params{{"Start-Position", number},
                            {"volume", number},
                            {"muted", number},
                            {"Start-Position-Seconds", number}};
    EXPECT_EQ(startVideo(clip(), 1, params).status, 0);
    // Whether it plays from somewhere or has come to its end at once, it tells so.
    EXPECT_TRUE(nextEvent("loading"));
    for (const char* property : {"position", "volume", "rate", "muted", "actionAtItemEnd"}) {
      EXPECT_EQ(set(property, "d", number), 0) << property;
    }
    EXPECT_EQ(stopVideo(1), 0);
    EXPECT_EQ(startVideo(clip(), 2, {{"rate", number}}).status, 0);
    EXPECT_EQ(stopVideo(2), 0);
  }
  // A position that is no number leaves it where it is.
  ASSERT_EQ(startVideo(clip(), 3, {{"rate", 0}}).status, 0);
  ASSERT_TRUE(nextEvent("paused"));
  EXPECT_EQ(set("position", "d", 1.0), 0);
  EXPECT_EQ(set("position", "d", kNotANumber), 0);
  EXPECT_NEAR(playbackInfo().number("position")->doubleValue(), 1, 0.1);
  // One beyond the end is the end.
  EXPECT_EQ(set("position", "d", 1e9), 0);
  EXPECT_NEAR(playbackInfo().number("position")->doubleValue(), 3, 0.1);
  EXPECT_EQ(stopVideo(3), 0);
  expectToPlay(4);
}

}  // namespace
