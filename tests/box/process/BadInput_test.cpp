// Invalid input of a sender, sent to the real program.

#include <limits>

#include "platform/foundation/Value.h"
#include "tests/box/process/SystemFixture.h"

namespace {

using platform::Dictionary;
using platform::Value;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

using BadInput = SystemTest;

TEST_F(BadInput, WithExtremeNumbersIsClamped) {
  launch();
  for (const double number : {kNotANumber, kInfinity, -kInfinity, 1e9, -1e300}) {
    SCOPED_TRACE(number);
    const Dictionary params{{"Start-Position", number},
                            {"volume", number},
                            {"muted", number},
                            {"Start-Position-Seconds", number}};
    EXPECT_EQ(startVideo(clip(), 1, params).status, 0);
    // The event is sent whether playback starts somewhere or reaches the end immediately.
    EXPECT_TRUE(nextEvent("loading"));
    for (const char* property : {"position", "volume", "rate", "muted", "actionAtItemEnd"}) {
      EXPECT_EQ(set(property, "d", number), 0) << property;
    }
    EXPECT_EQ(stopVideo(1), 0);
    EXPECT_EQ(startVideo(clip(), 2, {{"rate", number}}).status, 0);
    EXPECT_EQ(stopVideo(2), 0);
  }
  // A position that is NaN is ignored.
  ASSERT_EQ(startVideo(clip(), 3, {{"rate", 0}}).status, 0);
  ASSERT_TRUE(nextEvent("paused"));
  EXPECT_EQ(set("position", "d", 1.0), 0);
  EXPECT_EQ(set("position", "d", kNotANumber), 0);
  EXPECT_NEAR(playbackInfo().number("position")->doubleValue(), 1, 0.1);
  // A position beyond the end seeks to the end.
  EXPECT_EQ(set("position", "d", 1e9), 0);
  EXPECT_NEAR(playbackInfo().number("position")->doubleValue(), 3, 0.1);
  EXPECT_EQ(stopVideo(3), 0);
  expectToPlay(4);
}

}  // namespace
